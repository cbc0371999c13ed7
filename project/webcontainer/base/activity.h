#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <thread>

namespace webcontainer {

/// What a thread does now. Only the thread itself writes it, without a lock prefix; anybody may read it at
/// any time, a signal handler too: all of it is copied here, so that nothing read can be gone.
class Activity {
public:
    enum class EWaiting { kNothing, kForInput, kForRoom };

    /// What was read.
    struct Seen {
        int nThread;            ///< as of gettid(2); 0: it has not begun
        std::int64_t nSinceUs;  ///< of the request's first byte, on the monotonic clock; 0: no request runs
        EWaiting eWaiting;      ///< for the client to send, or to take
        std::array<char, 32> tId;
        std::array<char, 48> tLine;

        /// Empty when nobody has asked for it yet.
        std::string_view id() const noexcept { return trim({tId.data(), tId.size()}); }
        /// The first bytes of method and target, as they came; empty when none of them did.
        std::string_view line() const noexcept { return trim({tLine.data(), tLine.size()}); }
    };

    void setThread(int nThread) noexcept { m_nThread.store(nThread, std::memory_order_relaxed); }
    /// sLine: a method, any one byte, and a target.
    void begin(std::string_view sLine, std::int64_t nSinceUs) noexcept {
        const std::uint64_t nVersion = m_nVersion.load(std::memory_order_relaxed);
        // Odd while the rest changes; each of these stores comes after those before it.
        m_nVersion.store(nVersion + 1, std::memory_order_relaxed);
        put(m_tLine, sLine);
        m_tId[0].store(0, std::memory_order_release);
        m_nSinceUs.store(nSinceUs, std::memory_order_release);
        m_nVersion.store(nVersion + 2, std::memory_order_release);
    }
    /// The id of the request that has begun, of at most 32 characters.
    void setId(std::string_view sId) noexcept {
        const std::uint64_t nVersion = m_nVersion.load(std::memory_order_relaxed);
        m_nVersion.store(nVersion + 1, std::memory_order_relaxed);
        put(m_tId, sId);
        m_nVersion.store(nVersion + 2, std::memory_order_release);
    }
    void setWaiting(EWaiting e) noexcept { m_eWaiting.store(e, std::memory_order_relaxed); }
    void end() noexcept { m_nSinceUs.store(0, std::memory_order_relaxed); }

    /// One request's. Without its id and its line when the thread lost its processor while it wrote them.
    Seen look() const noexcept {
        constexpr int knTries = 100;
        Seen tSeen{};
        for (int n = 0; n < knTries; ++n) {
            const std::uint64_t nVersion = m_nVersion.load(std::memory_order_acquire);
            tSeen.nThread = m_nThread.load(std::memory_order_relaxed);
            tSeen.nSinceUs = m_nSinceUs.load(std::memory_order_acquire);
            tSeen.eWaiting = m_eWaiting.load(std::memory_order_relaxed);
            get(m_tId, tSeen.tId.data());
            get(m_tLine, tSeen.tLine.data());
            std::replace(tSeen.tLine.data(), tSeen.tLine.data() + tSeen.line().size(), '\0', ' ');
            if (nVersion % 2 == 0 && m_nVersion.load(std::memory_order_relaxed) == nVersion) return tSeen;
            std::this_thread::yield();
        }
        tSeen.tId = {};
        tSeen.tLine = {};
        return tSeen;
    }

private:
    template <std::size_t knBytes>
    using Text = std::array<std::atomic<std::uint64_t>, knBytes / sizeof(std::uint64_t)>;

    template <class TextT>
    static void put(TextT& rText, std::string_view s) noexcept {
        std::uint64_t tWords[std::tuple_size_v<TextT>] = {};
        s.copy(reinterpret_cast<char*>(tWords), sizeof tWords);
        for (std::size_t n = 0; n < rText.size(); ++n)
            rText[n].store(tWords[n], std::memory_order_release);
    }
    template <class TextT>
    static void get(const TextT& rText, char* p) noexcept {
        for (const auto& r : rText) {
            const std::uint64_t nWord = r.load(std::memory_order_acquire);
            std::memcpy(p, &nWord, sizeof nWord);
            p += sizeof nWord;
        }
    }
    static std::string_view trim(std::string_view s) noexcept {
        if (s[0] == '\0') return {};
        return s.substr(0, s.find_last_not_of('\0') + 1);
    }

    std::atomic<std::uint64_t> m_nVersion{0};
    std::atomic<std::int64_t> m_nSinceUs{0};
    std::atomic<int> m_nThread{0};
    std::atomic<EWaiting> m_eWaiting{EWaiting::kNothing};
    Text<48> m_tLine{};
    Text<32> m_tId{};
};

}  // namespace webcontainer
