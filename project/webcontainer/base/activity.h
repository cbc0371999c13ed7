#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>

namespace webcontainer {

/// What a thread does now. Only the thread itself writes it, with a handful of plain stores; anybody may read
/// it at any time, a signal handler too. It only points at what it tells of: whoever reads lets the kernel
/// fetch that, which finds out when it is gone, and drops what has changed meanwhile.
class Activity {
public:
    enum class EWaiting { kNothing, kForInput, kForRoom };
    static constexpr std::size_t s_knIdLength = 32;

    /// What was read.
    struct Seen {
        int nThread;            ///< as of gettid(2); 0: it has not begun
        std::int64_t nSinceUs;  ///< of the request's first byte, on the monotonic clock; 0: no request runs
        EWaiting eWaiting;      ///< for the client to send, or to take
        std::array<char, s_knIdLength> tId;
        std::array<char, 48> tLine;
        std::size_t nLine;

        /// Empty when there is none yet.
        std::string_view id() const noexcept;
        /// The first bytes of method and target, as they came; empty when none of them did, or when the
        /// kernel fetches nothing.
        std::string_view line() const noexcept { return {tLine.data(), nLine}; }
    };

    void setThread(int nThread) noexcept { m_nThread.store(nThread, std::memory_order_relaxed); }
    /// A request begins. sLine: its method, any one byte, and its target; pId: a place for s_knIdLength
    /// hexadecimal digits, of which there are none until the first is one. Both are to stay where they are
    /// until end().
    void begin(std::string_view sLine, const char* pId, std::int64_t nSinceUs) noexcept {
        m_pLine.store(sLine.data(), std::memory_order_release);
        m_nLine.store(sLine.size(), std::memory_order_release);
        m_pId.store(pId, std::memory_order_release);
        m_nSinceUs.store(nSinceUs, std::memory_order_release);
        turn();
    }
    void end() noexcept {
        turn();
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    void setWaiting(EWaiting e) noexcept { m_eWaiting.store(e, std::memory_order_relaxed); }

    Seen look() const noexcept;

private:
    void turn() noexcept {
        m_nTurns.store(m_nTurns.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }

    std::atomic<std::uint64_t> m_nTurns{0};  ///< odd: a request runs, and the rest tells of it
    std::atomic<std::int64_t> m_nSinceUs{0};
    std::atomic<const char*> m_pLine{nullptr};
    std::atomic<std::size_t> m_nLine{0};
    std::atomic<const char*> m_pId{nullptr};
    std::atomic<int> m_nThread{0};
    std::atomic<EWaiting> m_eWaiting{EWaiting::kNothing};
};

}  // namespace webcontainer
