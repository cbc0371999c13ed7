#include "logline.h"

#include <spdlog/details/os.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <nlohmann/json.hpp>

#include "zq/foundation/utf8text.h"

namespace {

bool isEscaped(wchar_t c) noexcept {
    return (c >= 0 && c < 0x20) || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029 || c == L'\\';
}

void appendHex(NarrowStringBufferBase& rBuffer, unsigned nValue, int nDigits) {
    for (int nShift = 4 * (nDigits - 1); nShift >= 0; nShift -= 4)
        rBuffer.append("0123456789ABCDEF"[(nValue >> nShift) & 0xF]);
}

void appendEscape(NarrowStringBufferBase& rBuffer, wchar_t c) {
    rBuffer.append('\\');
    constexpr std::wstring_view ksShort = L"\n\r\t\\";
    const std::size_t nShort = ksShort.find(c);
    if (nShort != ksShort.npos) {
        rBuffer.append("nrt\\"[nShort]);
        return;
    }
    rBuffer.append(c < 0x100 ? 'x' : 'u');
    appendHex(rBuffer, static_cast<unsigned>(c), c < 0x100 ? 2 : 4);
}

void appendTwoDigits(NarrowStringBufferBase& rBuffer, int nValue, char cEnd) {
    rBuffer.append(static_cast<char>('0' + nValue / 10 % 10));
    rBuffer.append(static_cast<char>('0' + nValue % 10));
    rBuffer.append(cEnd);
}

std::string logTime() {
    StringBufferTemplate<32, char> tBuffer;
    appendLogTime(tBuffer);
    return std::string(tBuffer.view());
}

}  // namespace

void appendLogText(NarrowStringBufferBase& rBuffer, std::wstring_view s) {
    while (!s.empty()) {
        const auto it = std::find_if(s.begin(), s.end(), isEscaped);
        const auto nPlain = static_cast<std::size_t>(it - s.begin());
        W2NEncodingUTF8().encode(rBuffer, s.substr(0, nPlain));
        s.remove_prefix(nPlain);
        if (s.empty()) return;
        appendEscape(rBuffer, s.front());
        s.remove_prefix(1);
    }
}

void appendLogTime(NarrowStringBufferBase& rBuffer) {
    const auto tNow = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    const std::time_t nSeconds = std::chrono::system_clock::to_time_t(tNow);
    const auto nMillis = static_cast<int>(tNow.time_since_epoch().count() % 1000);
    std::tm t{};
    gmtime_r(&nSeconds, &t);
    appendDecimal(rBuffer, static_cast<unsigned long long>(t.tm_year) + 1900);
    rBuffer.append('-');
    appendTwoDigits(rBuffer, t.tm_mon + 1, '-');
    appendTwoDigits(rBuffer, t.tm_mday, 'T');
    appendTwoDigits(rBuffer, t.tm_hour, ':');
    appendTwoDigits(rBuffer, t.tm_min, ':');
    appendTwoDigits(rBuffer, t.tm_sec, '.');
    rBuffer.append(static_cast<char>('0' + nMillis / 100));
    appendTwoDigits(rBuffer, nMillis, 'Z');
}

void appendTextLine(NarrowStringBufferBase& rBuffer, const LogEntry& rEntry) {
    appendLogTime(rBuffer);
    rBuffer.append(' ');
    rBuffer.append(std::string_view(getLogSeverityName(rEntry.eSeverity)));
    rBuffer.append(' ');
    rBuffer.append(std::string_view(rEntry.pSource));
    rBuffer.append(std::string_view(" ["));
    appendDecimal(rBuffer, spdlog::details::os::thread_id());
    rBuffer.append(std::string_view("] "));
    appendLogText(rBuffer, rEntry.sText);
    if (!rEntry.tLocation.pFile) return;
    rBuffer.append(std::string_view(" ("));
    appendLogText(rBuffer, rEntry.tLocation.pFile);
    rBuffer.append(':');
    appendDecimal(rBuffer, static_cast<unsigned>(rEntry.tLocation.nLine));
    rBuffer.append(')');
}

void appendJsonLine(NarrowStringBufferBase& rBuffer, const LogEntry& rEntry) {
    nlohmann::ordered_json tObject{{"time", logTime()},
                                   {"severity", getLogSeverityName(rEntry.eSeverity)},
                                   {"source", rEntry.pSource},
                                   {"thread", spdlog::details::os::thread_id()},
                                   {"text", toUtf8(rEntry.sText)}};
    if (rEntry.tLocation.pFile) {
        tObject["file"] = toUtf8(rEntry.tLocation.pFile);
        tObject["line"] = rEntry.tLocation.nLine;
    }
    constexpr int knOneLine = -1;
    constexpr bool kbEscapeAllButAscii = true;
    rBuffer.append(std::string_view(
        tObject.dump(knOneLine, ' ', kbEscapeAllButAscii, nlohmann::ordered_json::error_handler_t::replace)));
}
