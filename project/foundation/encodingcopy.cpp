#include "zq/foundation/encodingcopy.h"

#include <algorithm>
#include <iterator>

#include "asciirun.h"

namespace {

void widen(wchar_t* pTo, std::string_view s) noexcept {
    const std::size_t nAscii = widenAsciiRun(pTo, s.data(), s.size());
    std::copy(s.begin() + nAscii, s.end(), pTo + nAscii);
}

ZQWString widen(std::string_view s) {
    if (s.empty()) return {};
    ZQWString::Room tRoom(s.size());
    widen(tRoom.text(), s);
    return tRoom.take(s.size());
}

/// Names of header fields, and values, that come with most requests of browsers, proxies and scripts.
constexpr std::string_view s_ksUsual[] = {
    "Accept", "Accept-Encoding", "Accept-Language", "Authorization", "Cache-Control", "Connection",
    "Content-Length", "Content-Type", "Cookie", "DNT", "Expect", "Forwarded", "Host", "If-Modified-Since",
    "If-None-Match", "Origin", "Pragma", "Priority", "Range", "Referer", "SOAPAction", "Sec-Fetch-Dest",
    "Sec-Fetch-Mode", "Sec-Fetch-Site", "Sec-Fetch-User", "Sec-GPC", "TE", "Transfer-Encoding",
    "Upgrade-Insecure-Requests", "User-Agent", "Via", "X-Forwarded-For", "X-Forwarded-Host",
    "X-Forwarded-Proto", "X-Real-IP", "X-Requested-With", "sec-ch-ua", "sec-ch-ua-mobile",
    "sec-ch-ua-platform",
    // Values.
    "*/*", "1", "?0", "?1", "XMLHttpRequest", "application/json", "application/x-www-form-urlencoded",
    "chunked", "close", "cors", "cross-site", "document", "empty", "gzip, deflate", "gzip, deflate, br",
    "gzip, deflate, br, zstd", "http", "https", "keep-alive", "max-age=0", "navigate", "no-cache", "none",
    "same-origin", "trailers", "u=0, i"};

constexpr std::size_t s_knLongestUsual = std::ranges::max(s_ksUsual, {}, &std::string_view::size).size();

/// Finds the usual texts by their bytes.
class UsualTexts {
public:
    UsualTexts() {
        for (const std::string_view s : s_ksUsual) {
            Entry& rEntry = find(s);
            rEntry.sBytes = s;
            rEntry.sText = ZQWString::eternal(widen(s));
        }
    }
    /// The entry of s, which must not be empty; its text is empty when s is not usual.
    const ZQWString& get(std::string_view s) noexcept { return find(s).sText; }

private:
    struct Entry {
        std::string_view sBytes;
        ZQWString sText;
    };
    static constexpr std::size_t s_knEntries = 256;
    static_assert(std::size(s_ksUsual) < s_knEntries / 2, "a search ends soon");

    /// The entry of s, or the free one where it belongs.
    Entry& find(std::string_view s) noexcept {
        std::size_t n = s.size() * 37 + static_cast<unsigned char>(s[s.size() / 2]) * 5u +
                        static_cast<unsigned char>(s.front()) + static_cast<unsigned char>(s.back()) * 3u;
        while (!m_tEntries[n % s_knEntries].sBytes.empty() && m_tEntries[n % s_knEntries].sBytes != s)
            ++n;
        return m_tEntries[n % s_knEntries];
    }

    Entry m_tEntries[s_knEntries];
};

UsualTexts s_tUsualTexts;

}  // namespace

void EncodingCopy<wchar_t, char>::encode(NarrowStringBufferBase& rBuffer, std::wstring_view s) const {
    char* const pTo = rBuffer.getAppendBuffer(s.size());
    const std::size_t nAscii = narrowAsciiRun(pTo, s.data(), s.size());
    std::transform(s.begin() + nAscii, s.end(), pTo + nAscii, [](wchar_t c) { return static_cast<char>(c); });
    rBuffer.commitAppendBuffer(s.size());
}

void EncodingCopy<char, wchar_t>::encode(WideStringBufferBase& rBuffer, std::string_view s) const {
    widen(rBuffer.getAppendBuffer(s.size()), s);
    rBuffer.commitAppendBuffer(s.size());
}

ZQWString EncodingCopy<char, wchar_t>::toString(std::string_view s) const {
    if (!s.empty() && s.size() <= s_knLongestUsual)
        if (const ZQWString& sUsual = s_tUsualTexts.get(s); !sUsual.empty()) return sUsual;
    return widen(s);
}
