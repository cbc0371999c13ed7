#include "log/accessline.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstring>
#include <limits>

#include "zq/foundation/encodingutf8.h"

namespace webcontainer {

namespace {

constexpr std::string_view s_ksHexDigits = "0123456789abcdef";
/// What one byte of a text becomes at most, and all of a line but the texts.
constexpr std::size_t s_knMostOfByte = 6;
constexpr std::size_t s_knMostOfRest = 512;

// Everything below writes at p, where there is room for the longest line that there can be, and returns the
// end of what it has written.

char* put(char* p, std::string_view s) {
    return std::copy(s.begin(), s.end(), p);
}

template <class Number>
char* putNumber(char* p, Number n) {
    return std::to_chars(p, p + std::numeric_limits<Number>::digits10 + 2, n).ptr;
}

/// Copies the bytes that a text begins with and that either format has as they are, 16 at a time, and returns
/// their number. Writes up to 16 bytes more.
std::size_t putPlain(char* p, std::string_view s) {
    std::size_t n = 0;
#ifdef __SSE2__
    const __m128i tFirst = _mm_set1_epi8(' '), tDelete = _mm_set1_epi8(0x7F), tQuote = _mm_set1_epi8('"'),
                  tBackslash = _mm_set1_epi8('\\');
    for (;; n += 16) {
        const std::size_t nLeft = s.size() - n;
        char tLast[16] = {};  // the zeros behind the text end it
        if (nLeft < 16) std::memcpy(tLast, s.data() + n, nLeft);
        const __m128i t =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(nLeft < 16 ? tLast : s.data() + n));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + n), t);
        // What is no ASCII counts as negative.
        const __m128i tOutside = _mm_or_si128(_mm_cmplt_epi8(t, tFirst), _mm_cmpeq_epi8(t, tDelete));
        const __m128i tInside = _mm_or_si128(_mm_cmpeq_epi8(t, tQuote), _mm_cmpeq_epi8(t, tBackslash));
        const auto nOthers = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(tOutside, tInside)));
        if (nOthers != 0) return n + static_cast<std::size_t>(std::countr_zero(nOthers));
    }
#else
    for (; n < s.size() && s[n] >= ' ' && s[n] <= '~' && s[n] != '"' && s[n] != '\\'; ++n)
        p[n] = s[n];
    return n;
#endif
}

/// A text of which fEscape writes what is not plain, and takes it away from the text's front.
template <class Escape>
char* putEscaped(char* p, std::string_view s, Escape fEscape) {
    for (;;) {
        const std::size_t nPlain = putPlain(p, s);
        p += nPlain;
        s.remove_prefix(nPlain);
        if (s.empty()) return p;
        p = fEscape(p, s);
    }
}

/// A text of the client's in combined format.
char* putCombinedText(char* p, std::string_view s) {
    if (s.empty()) return put(p, "-");
    return putEscaped(p, s, [](char* pTo, std::string_view& rsRest) {
        const auto nByte = static_cast<unsigned char>(rsRest.front());
        rsRest.remove_prefix(1);
        const char tEscape[] = {'\\', 'x', "0123456789ABCDEF"[nByte >> 4], "0123456789ABCDEF"[nByte & 15]};
        return put(pTo, {tEscape, sizeof tEscape});
    });
}

char* putQuoted(char* p, std::string_view s) {
    return put(putCombinedText(put(p, " \""), s), "\"");
}

/// One UTF-16 code unit in JSON (RFC 8259 section 7).
char* putCodeUnit(char* p, std::uint32_t n) {
    p = put(p, "\\u");
    for (int nShift = 12; nShift >= 0; nShift -= 4)
        *p++ = s_ksHexDigits[(n >> nShift) & 15];
    return p;
}

char* putJsonEscape(char* p, std::string_view& rsRest) {
    constexpr std::string_view ksNamed = "\"\\\b\f\n\r\t", ksNames = "\"\\bfnrt";
    const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    const char c = rsRest.front();
    const auto nOthers =
        static_cast<std::size_t>(std::find_if(rsRest.begin(), rsRest.end(), isAscii) - rsRest.begin());
    const std::string_view sOthers = rsRest.substr(0, nOthers);
    rsRest.remove_prefix(std::max<std::size_t>(nOthers, 1));
    if (const std::size_t n = ksNamed.find(c); n != std::string_view::npos) {
        *p++ = '\\';
        *p++ = ksNames[n];
        return p;
    }
    if (nOthers == 0) return putCodeUnit(p, static_cast<unsigned char>(c));
    StringBuffer tWide;  // with U+FFFD for what is no UTF-8
    N2WEncodingUTF8().encode(tWide, sOthers);
    for (const wchar_t cWide : tWide.view()) {
        const auto n = static_cast<char32_t>(cWide);
        if (n > 0xFFFF) p = putCodeUnit(p, 0xD7C0 + (n >> 10));
        p = putCodeUnit(p, n > 0xFFFF ? 0xDC00 + (n & 0x3FF) : n);
    }
    return p;
}

char* putJsonText(char* p, std::string_view sKey, std::string_view s) {
    p = put(p, sKey);
    if (s.empty()) return put(p, "null");
    return put(putEscaped(put(p, "\""), s, putJsonEscape), "\"");
}

void appendDigits(NarrowStringBufferBase& rBuffer, unsigned nValue, int nDigits, char cBefore) {
    if (cBefore != '\0') rBuffer.append(cBefore);
    char* const p = rBuffer.getAppendBuffer(static_cast<std::size_t>(nDigits));
    for (int n = nDigits; n-- > 0; nValue /= 10)
        p[n] = static_cast<char>('0' + nValue % 10);
    rBuffer.commitAppendBuffer(static_cast<std::size_t>(nDigits));
}

/// Not gmtime_r(), which takes a lock.
void appendDate(NarrowStringBufferBase& rBuffer, EAccessFormat eFormat, std::chrono::sys_days tDay) {
    constexpr std::string_view ksMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const std::chrono::year_month_day tDate(tDay);
    const auto nYear = static_cast<unsigned>(static_cast<int>(tDate.year()));
    const auto nMonth = static_cast<unsigned>(tDate.month());
    const auto nDay = static_cast<unsigned>(tDate.day());
    if (eFormat == EAccessFormat::kJson) {
        appendDigits(rBuffer, nYear, 4, '\0');
        appendDigits(rBuffer, nMonth, 2, '-');
        appendDigits(rBuffer, nDay, 2, '-');
    } else {
        appendDigits(rBuffer, nDay, 2, '\0');
        rBuffer.append('/');
        rBuffer.append(ksMonths.substr(std::size_t{3} * (nMonth - 1), 3));
        appendDigits(rBuffer, nYear, 4, '/');
    }
}

}  // namespace

void AccessLine::append(NarrowStringBufferBase& rBuffer, EAccessFormat eFormat, const AccessRecord& r) {
    const std::size_t nTexts = r.sClient.size() + r.sMethod.size() + r.sTarget.size() + r.sProtocol.size() +
                               r.sReferer.size() + r.sUserAgent.size() + r.sRequestId.size();
    char* const pBegin = rBuffer.getAppendBuffer(s_knMostOfByte * nTexts + s_knMostOfRest);
    char* const pEnd =
        put(eFormat == EAccessFormat::kJson ? putJson(pBegin, r) : putCombined(pBegin, r), "\n");
    rBuffer.commitAppendBuffer(static_cast<std::size_t>(pEnd - pBegin));
}

std::string_view AccessLine::timeText(EAccessFormat eFormat, std::int64_t nSecond) {
    if (nSecond == m_nTimeSecond) return m_tTime.view();
    const std::chrono::sys_seconds tTime{std::chrono::seconds(nSecond)};
    const auto tDay = std::chrono::floor<std::chrono::days>(tTime);
    const auto nInDay = static_cast<unsigned>((tTime - tDay).count());
    m_tTime.clear();
    appendDate(m_tTime, eFormat, tDay);
    appendDigits(m_tTime, nInDay / 3600, 2, eFormat == EAccessFormat::kJson ? 'T' : ':');
    appendDigits(m_tTime, nInDay / 60 % 60, 2, ':');
    appendDigits(m_tTime, nInDay % 60, 2, ':');
    m_nTimeSecond = nSecond;
    return m_tTime.view();
}

char* AccessLine::putCombined(char* p, const AccessRecord& r) {
    p = put(putCombinedText(p, r.sClient), " - - [");
    p = put(put(p, timeText(EAccessFormat::kCombined, r.nTimeMs / 1000)), " +0000] \"");
    p = putCombinedText(p, r.sMethod);
    if (!r.sMethod.empty()) p = put(put(putCombinedText(put(p, " "), r.sTarget), " "), r.sProtocol);
    p = put(p, "\" ");
    p = r.nStatus != 0 ? putNumber(p, r.nStatus) : put(p, "-");
    p = putNumber(put(p, " "), r.nSentBytes);
    p = putQuoted(putQuoted(p, r.sReferer), r.sUserAgent);
    p = putNumber(put(p, " "), r.tTimes.sum());
    p = putNumber(put(p, " "), r.nReceivedBytes);
    p = put(put(p, " "), r.sRequestId);
    p = putNumber(put(p, r.bCut ? " cut " : " whole "), r.tTimes.nWaitingUs);
    p = putNumber(put(p, " "), r.tTimes.nReceivingUs);
    p = putNumber(put(p, " "), r.tTimes.nRunningUs);
    return putNumber(put(p, " "), r.tTimes.nSendingUs);
}

char* AccessLine::putJson(char* p, const AccessRecord& r) {
    p = put(put(p, "{\"time\":\""), timeText(EAccessFormat::kJson, r.nTimeMs / 1000));
    const auto nMs = static_cast<unsigned>(r.nTimeMs % 1000);
    const char tMs[] = {'.', s_ksHexDigits[nMs / 100], s_ksHexDigits[nMs / 10 % 10], s_ksHexDigits[nMs % 10]};
    p = put(put(p, {tMs, sizeof tMs}), "Z\"");
    p = putJsonText(p, ",\"client\":", r.sClient);
    p = putJsonText(p, ",\"method\":", r.sMethod);
    p = putJsonText(p, ",\"target\":", r.sTarget);
    p = putJsonText(p, ",\"protocol\":", r.sProtocol);
    p = put(p, ",\"status\":");
    p = r.nStatus != 0 ? putNumber(p, r.nStatus) : put(p, "null");
    p = putNumber(put(p, ",\"received\":"), r.nReceivedBytes);
    p = putNumber(put(p, ",\"sent\":"), r.nSentBytes);
    p = putNumber(put(p, ",\"duration_us\":"), r.tTimes.sum());
    p = putNumber(put(p, ",\"waiting_us\":"), r.tTimes.nWaitingUs);
    p = putNumber(put(p, ",\"receiving_us\":"), r.tTimes.nReceivingUs);
    p = putNumber(put(p, ",\"running_us\":"), r.tTimes.nRunningUs);
    p = putNumber(put(p, ",\"sending_us\":"), r.tTimes.nSendingUs);
    p = putJsonText(p, ",\"referer\":", r.sReferer);
    p = putJsonText(p, ",\"user_agent\":", r.sUserAgent);
    p = put(put(put(p, ",\"request_id\":\""), r.sRequestId), "\"");
    return put(p, r.bCut ? ",\"cut\":true}" : ",\"cut\":false}");
}

}  // namespace webcontainer
