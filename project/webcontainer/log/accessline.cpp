#include "log/accessline.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>

namespace webcontainer {

namespace {

constexpr std::string_view s_ksNothing = "-";

bool isPlain(char c) {
    return c >= ' ' && c <= '~' && c != '"' && c != '\\';
}

/// A text of the client's in combined format.
void appendEscaped(NarrowStringBufferBase& rBuffer, std::string_view s) {
    if (s.empty()) s = s_ksNothing;
    while (!s.empty()) {
        const auto nPlain =
            static_cast<std::size_t>(std::find_if_not(s.begin(), s.end(), isPlain) - s.begin());
        rBuffer.append(s.substr(0, nPlain));
        if (nPlain == s.size()) return;
        const auto nByte = static_cast<unsigned char>(s[nPlain]);
        const char tEscape[] = {'\\', 'x', "0123456789ABCDEF"[nByte >> 4], "0123456789ABCDEF"[nByte & 15]};
        rBuffer.append(tEscape, sizeof tEscape);
        s.remove_prefix(nPlain + 1);
    }
}

void appendQuoted(NarrowStringBufferBase& rBuffer, std::string_view s) {
    rBuffer.append(" \"");
    appendEscaped(rBuffer, s);
    rBuffer.append('"');
}

void appendNumber(NarrowStringBufferBase& rBuffer, std::uint64_t n) {
    rBuffer.append(' ');
    appendDecimal(rBuffer, n);
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

nlohmann::ordered_json orNull(std::string_view s) {
    return s.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(s);
}

}  // namespace

std::string_view AccessLine::format(EAccessFormat eFormat, const AccessRecord& rRecord) {
    m_tLine.clear();
    if (eFormat == EAccessFormat::kJson)
        appendJson(rRecord);
    else
        appendCombined(rRecord);
    m_tLine.append('\n');
    return m_tLine.view();
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

void AccessLine::appendCombined(const AccessRecord& r) {
    appendEscaped(m_tLine, r.sClient);
    m_tLine.append(" - - [");
    m_tLine.append(timeText(EAccessFormat::kCombined, r.nTimeMs / 1000));
    m_tLine.append(" +0000] \"");
    appendEscaped(m_tLine, r.sMethod);
    if (!r.sMethod.empty()) {
        m_tLine.append(' ');
        appendEscaped(m_tLine, r.sTarget);
        m_tLine.append(' ');
        m_tLine.append(r.sProtocol);
    }
    m_tLine.append('"');
    if (r.nStatus != 0)
        appendNumber(m_tLine, r.nStatus);
    else
        m_tLine.append(" -");
    appendNumber(m_tLine, r.nSentBytes);
    appendQuoted(m_tLine, r.sReferer);
    appendQuoted(m_tLine, r.sUserAgent);
    appendNumber(m_tLine, static_cast<std::uint64_t>(r.nDurationUs));
    appendNumber(m_tLine, r.nReceivedBytes);
    m_tLine.append(' ');
    m_tLine.append(r.sRequestId);
    m_tLine.append(r.bCut ? " cut" : " whole");
}

void AccessLine::appendJson(const AccessRecord& r) {
    StringBufferTemplate<31, char> tTime;
    tTime.append(timeText(EAccessFormat::kJson, r.nTimeMs / 1000));
    appendDigits(tTime, static_cast<unsigned>(r.nTimeMs % 1000), 3, '.');
    tTime.append('Z');
    const nlohmann::ordered_json tObject{
        {"time", tTime.view()},
        {"client", orNull(r.sClient)},
        {"method", orNull(r.sMethod)},
        {"target", orNull(r.sTarget)},
        {"protocol", orNull(r.sProtocol)},
        {"status", r.nStatus != 0 ? nlohmann::ordered_json(r.nStatus) : nlohmann::ordered_json()},
        {"received", r.nReceivedBytes},
        {"sent", r.nSentBytes},
        {"duration_us", r.nDurationUs},
        {"referer", orNull(r.sReferer)},
        {"user_agent", orNull(r.sUserAgent)},
        {"request_id", r.sRequestId},
        {"cut", r.bCut}};
    constexpr int knOneLine = -1;
    constexpr bool kbEscapeAllButAscii = true;
    m_tLine.append(std::string_view(
        tObject.dump(knOneLine, ' ', kbEscapeAllButAscii, nlohmann::ordered_json::error_handler_t::replace)));
}

}  // namespace webcontainer
