#pragma once

#include "zq/foundation/hostallocator.h"
#include "zq/foundation/refcount.h"

/// Base of objects that Handles share; the last Handle deletes the object. The count is atomic.
class ZQ_EXPORT RefCounted : public HostAllocated {
public:
    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;
    virtual ~RefCounted();

    void addRef() const noexcept { m_tRefs.add(); }
    void releaseRef() const noexcept {
        if (m_tRefs.drop()) delete this;
    }
    /// The object is never deleted, nor are its Handles counted any more. Before other threads have one.
    void makeEternal() const noexcept { m_tRefs.makeEternal(); }

protected:
    RefCounted() noexcept = default;

private:
    mutable RefCount m_tRefs{0};
};
