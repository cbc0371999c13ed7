#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "zq/foundation/zqexport.h"

/// Raises the exception that a null Handle's use is answered with (InvalidHandleException).
[[noreturn]] ZQ_EXPORT void throwInvalidHandle();

/// Shares a reference-counted T: keeps it alive, and deletes it with the last handle. TCounted is the class
/// through which the count is kept (addRef, releaseRef); T itself unless T is only declared at that point.
/// Using a null handle raises InvalidHandleException. Different handles to one object may be used from
/// different threads; one handle may not.
template <class T, class TCounted = T>
class ZQ_EXPORT Handle {
public:
    Handle() noexcept = default;
    Handle(std::nullptr_t) noexcept {}
    /// Takes a reference to p, which may be null.
    explicit Handle(T* p) noexcept : m_p(p) { acquire(); }
    Handle(const Handle& r) noexcept : m_p(r.m_p) { acquire(); }
    Handle(Handle&& r) noexcept : m_p(std::exchange(r.m_p, nullptr)) {}
    template <class U, class UCounted, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Handle(const Handle<U, UCounted>& r) noexcept : m_p(r.getPtr()) {
        acquire();
    }
    ~Handle() { release(); }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): copy and swap
    Handle& operator=(const Handle& r) noexcept {
        Handle(r).swap(*this);
        return *this;
    }
    Handle& operator=(Handle&& r) noexcept {
        Handle(std::move(r)).swap(*this);
        return *this;
    }
    void swap(Handle& r) noexcept { std::swap(m_p, r.m_p); }
    /// Lets go of the object; the handle is null before the object is destroyed.
    void reset() noexcept { Handle().swap(*this); }

    bool isNull() const noexcept { return m_p == nullptr; }
    explicit operator bool() const noexcept { return m_p != nullptr; }
    T* getPtr() const noexcept { return m_p; }
    T* operator->() const { return checked(); }
    T& operator*() const { return *checked(); }

    friend bool operator==(const Handle& a, const Handle& b) noexcept { return a.m_p == b.m_p; }

private:
    T* checked() const {
        if (!m_p) throwInvalidHandle();
        return m_p;
    }
    void acquire() const noexcept {
        if (m_p) static_cast<const TCounted*>(m_p)->addRef();
    }
    void release() const noexcept {
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): the analyzer does not follow atomic counts
        if (m_p) static_cast<const TCounted*>(m_p)->releaseRef();
    }

    T* m_p = nullptr;
};

/// Makes a T and the first handle to it.
template <class T, class... Args>
Handle<T> makeHandle(Args&&... rArgs) {
    return Handle<T>(new T(std::forward<Args>(rArgs)...));
}
