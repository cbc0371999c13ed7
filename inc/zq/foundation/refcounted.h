#pragma once

#include <atomic>
#include <cstdint>

#include "zq/foundation/hostallocator.h"

/// Base of objects that Handles share; the last Handle deletes the object. The count is atomic.
class ZQ_EXPORT RefCounted : public HostAllocated {
public:
    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;
    virtual ~RefCounted();

    void addRef() const noexcept { m_nRefs.fetch_add(1, std::memory_order_relaxed); }
    void releaseRef() const noexcept {
        if (m_nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }

protected:
    RefCounted() noexcept = default;

private:
    mutable std::atomic<std::uint32_t> m_nRefs{0};
};
