#pragma once

#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>

#include "zq/memoryhost/memoryrequest.h"
#include "zq/memoryhost/memoryresponse.h"

/// What the two providers of an exchange share: the script, and the record of calls and breaches. Makes texts
/// only of what is recorded.
class MemoryCalls {
public:
    MemoryCalls(const MemoryRequest& rRequest, MemoryResponse& rResponse) noexcept
        : m_rRequest(rRequest),
          m_rResponse(rResponse) {}

    const MemoryRequest& m_rRequest;
    MemoryResponse& m_rResponse;

    /// Begins a call: its name, and its arguments, texts and numbers in a row.
    template <class... Pieces>
    void add(const char* pCall, const Pieces&... rPieces) {
        require(std::this_thread::get_id() == m_tThread, pCall, "comes on another thread than the request's");
        if (!m_rRequest.bRecords && !m_rRequest.fOnCall) return;
        attempt([&] {
            m_rResponse.tCalls.push_back(text(std::string_view(pCall), rPieces...));
            if (m_rRequest.fOnCall) m_rRequest.fOnCall(m_rResponse.tCalls);
        });
    }
    /// Does what may throw in a call.
    template <class F>
    void attempt(F f) {
        const bool bThrown = std::exchange(m_bThrown, true);
        f();
        m_bThrown = bThrown;
    }
    /// Whether a call has thrown: what was under way then may start over.
    bool hasThrown() const noexcept { return m_bThrown; }
    /// Names a breach of the contract unless bHolds.
    template <class... Pieces>
    void require(bool bHolds, std::string_view sCall, const Pieces&... rPieces) {
        if (!bHolds) m_rResponse.tBreaches.push_back(text(sCall, ": ", rPieces...));
    }

private:
    template <class... Pieces>
    static std::string text(const Pieces&... rPieces) {
        const auto fText = [](const auto& r) {
            if constexpr (std::is_arithmetic_v<std::remove_cvref_t<decltype(r)>>)
                return std::to_string(r);
            else
                return std::string_view(r);
        };
        std::string sText;
        (sText.append(fText(rPieces)), ...);
        return sText;
    }

    const std::thread::id m_tThread = std::this_thread::get_id();
    bool m_bThrown = false;
};
