#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

namespace webcontainer {

/// A stretch of a request's bytes, counted from the first byte of its head, so that it survives when the
/// bytes move.
struct Stretch {
    std::uint32_t nFrom = 0;
    std::uint32_t nLength = 0;
};

/// The header fields that the front end itself acts upon.
enum class EKnownField : std::uint8_t {
    kOther,
    kHost,
    kContentType,
    kExpect,
    kConnection,
    kProxyConnection,
    kContentLength,
    kTransferEncoding,
};
inline constexpr std::size_t knKnownFields = 8;

struct HeaderField {
    Stretch tName;
    Stretch tValue;
    EKnownField eKnown = EKnownField::kOther;
};

/// How the end of a request's body is found (RFC 9112 section 6.3).
enum class EBodyFraming : std::uint8_t { kNone, kDeclared, kChunked };

/// The versions that are served.
enum class EVersion : std::uint8_t { k10, k11 };

constexpr std::string_view toText(EVersion e) noexcept {
    return e == EVersion::k10 ? "HTTP/1.0" : "HTTP/1.1";
}

/// What the parser found in a request's head. Only places: the bytes stay where they were received.
struct RequestHead {
    static constexpr std::uint32_t knNowhere = std::numeric_limits<std::uint32_t>::max();

    Stretch tMethod;
    Stretch tTarget;
    Stretch tAuthority;  ///< of an absolute-form or CONNECT's target, else empty
    Stretch tPath;       ///< starts at knNowhere when an absolute-form target has none: "/" then
    Stretch tQuery;      ///< without the question mark; starts at knNowhere when there is none
    EVersion eVersion = EVersion::k11;
    bool bKeepAlive = false;   ///< the client wants to use the connection again
    bool bExpects100 = false;  ///< the client waits for "100 Continue" before it sends the body
    bool bHead = false;        ///< the method is HEAD: the response has no body bytes
    EBodyFraming eFraming = EBodyFraming::kNone;
    std::uint64_t nContentLength = 0;  ///< of a declared body, in bytes
    /// In the order they came. Where the target has an authority, that is the value of the Host field (RFC
    /// 9112 section 3.2.2), so that nobody can be sent to another host than the one that was routed to.
    std::vector<HeaderField> tFields;

    /// Empties it for the next request and keeps the storage.
    void clear() {
        std::vector<HeaderField> tStorage = std::move(tFields);
        tStorage.clear();
        *this = RequestHead();
        tFields = std::move(tStorage);
    }
};

/// A request that the front end answers itself: the status, and for log and client the reason.
struct Refusal {
    unsigned nStatus = 0;
    const char* pReason = "";    ///< a constant text
    unsigned nRetrySeconds = 0;  ///< when the client may try again; 0: that is not said
};

inline constexpr Refusal s_tBadLineEnd{400, "a line without a proper end"};

/// What came of parsing the bytes that there are. Two words, because every step of a parser returns one.
class Parsed {
public:
    enum EKind : unsigned { kNeedMore, kDone, kRefused };

    constexpr Parsed(EKind e) noexcept : m_eKind(e) {}
    constexpr Parsed(const Refusal& r) noexcept
        : m_eKind(kRefused),
          m_nStatus(r.nStatus),
          m_pReason(r.pReason) {}

    constexpr operator EKind() const noexcept { return m_eKind; }
    /// Of kRefused.
    constexpr Refusal getRefusal() const noexcept { return {m_nStatus, m_pReason}; }

private:
    EKind m_eKind;
    unsigned m_nStatus = 0;
    const char* m_pReason = nullptr;
};

}  // namespace webcontainer
