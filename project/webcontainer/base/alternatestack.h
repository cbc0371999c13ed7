#pragma once

#include <csignal>
#include <memory>

namespace webcontainer {

/// While it exists, handlers of signals that ask for it run on a stack of their own on this thread, so that
/// they run even when the thread has used up its stack. To be destroyed on the same thread.
class AlternateStack {
public:
    AlternateStack() : m_pMemory(new char[s_knBytes]) {
        const stack_t tStack{.ss_sp = m_pMemory.get(), .ss_flags = 0, .ss_size = s_knBytes};
        ::sigaltstack(&tStack, &m_tBefore);
    }
    ~AlternateStack() { ::sigaltstack(&m_tBefore, nullptr); }
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;

private:
    /// Untouched, and so no memory, until a signal comes.
    static constexpr std::size_t s_knBytes = 65536;

    const std::unique_ptr<char[]> m_pMemory;
    stack_t m_tBefore{};
};

}  // namespace webcontainer
