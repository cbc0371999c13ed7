// Whatever bytes a client sends, the access log gets one line, printable to its end, from which both formats
// read back what was sent. The numbers are the lengths of what stands in the text one behind the other:
// method, target, referer; the user agent is the rest.

#include <nlohmann/json.hpp>

#include "fuzzinput.h"
#include "log/accessline.h"
#include "zq/foundation/utf8text.h"

using fuzz::require;
using webcontainer::EAccessFormat;

namespace {

/// Takes from the front of a line the text up to cEnd, without its escapes.
std::string takeField(std::string_view& rsLine, std::string_view sEnd) {
    const std::size_t nEnd = rsLine.find(sEnd);
    require(nEnd != rsLine.npos, "a field's end");
    std::string sField;
    for (std::size_t n = 0; n < nEnd; ++n) {
        if (rsLine[n] == '\\') {
            require(nEnd - n > 3 && rsLine[n + 1] == 'x', "an escape");
            sField += static_cast<char>(std::stoi(std::string(rsLine.substr(n + 2, 2)), nullptr, 16));
            n += 3;
        } else {
            sField += rsLine[n];
        }
    }
    rsLine.remove_prefix(nEnd + sEnd.size());
    return sField;
}

std::string orDash(std::string_view s) {
    return s.empty() ? "-" : std::string(s);
}

void checkCombined(std::string_view sLine, const webcontainer::AccessRecord& r) {
    (void)takeField(sLine, "127.0.0.1 - - [");
    (void)takeField(sLine, "] \"");
    const std::string sRequest =
        r.sMethod.empty() ? "-"
                          : std::string(r.sMethod) + " " + orDash(r.sTarget) + " " + std::string(r.sProtocol);
    require(takeField(sLine, "\" 200 5 \"") == sRequest, "the request");
    require(takeField(sLine, "\" \"") == orDash(r.sReferer), "the referer");
    require(takeField(sLine, "\" ") == orDash(r.sUserAgent), "the user agent");
    require(sLine == "10 7 0af7 whole 1 2 3 4\n", "the rest");
}

void checkJson(std::string_view sLine, const webcontainer::AccessRecord& r) {
    const auto tLine = nlohmann::json::parse(sLine);
    const auto check = [&](const char* pKey, std::string_view s) {
        const std::string sText = toUtf8(fromUtf8(s));
        require(tLine.at(pKey) == (s.empty() ? nlohmann::json() : nlohmann::json(sText)), pKey);
    };
    check("method", r.sMethod);
    check("target", r.sTarget);
    check("referer", r.sReferer);
    check("user_agent", r.sUserAgent);
    require(tLine.size() == 17 && tLine.at("status") == 200 && tLine.at("duration_us") == 10, "the rest");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    fuzz::FuzzInput tInput(pData, nSize);
    webcontainer::AccessRecord r;
    r.nTimeMs = 1951091696007;
    for (std::string_view* const ps : {&r.sMethod, &r.sTarget, &r.sReferer})
        *ps = tInput.takeText(tInput.takeNumber(75));
    r.sUserAgent = tInput.getText();
    r.sClient = "127.0.0.1";
    r.sProtocol = "HTTP/1.1";
    r.sRequestId = "0af7";
    r.nStatus = 200;
    r.nSentBytes = 5;
    r.nReceivedBytes = 7;
    r.tTimes = {1, 2, 3, 4};
    webcontainer::AccessLine tLine;
    for (const EAccessFormat eFormat : {EAccessFormat::kCombined, EAccessFormat::kJson}) {
        NarrowStringBuffer tText;
        tLine.append(tText, eFormat, r);
        const std::string_view s = tText.view();
        const auto fIsPlain = [](char c) { return c >= ' ' && c < '\x7f'; };
        require(std::ranges::find_if_not(s, fIsPlain) == s.end() - 1 && s.ends_with('\n'),
                "one printable line");
        if (eFormat == EAccessFormat::kCombined)
            checkCombined(s, r);
        else
            checkJson(s, r);
    }
    return 0;
}
