#include "zq/applicationkit/jsonbody.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "mediatype.h"
#include "zq/applicationkit/numbertext.h"

namespace kit {

namespace {

constexpr std::size_t knChunk = std::size_t{64} * 1024;

bool isJson(std::wstring_view sType) {
    constexpr std::wstring_view ksSuffix = L"+json";
    return equalNoCase(sType, L"application/json") ||
           (sType.size() > ksSuffix.size() &&
            equalNoCase(sType.substr(sType.size() - ksSuffix.size()), ksSuffix));
}

[[noreturn]] void refuseLength(const JsonLimits& rLimits) {
    throw RequestError(413, L"At most " + std::to_wstring(rLimits.nMostBytes) + L" bytes of JSON are taken.");
}

/// Behind the token that begins there: a string, a word or number, or one byte.
std::size_t endOfToken(std::string_view s, std::size_t n) noexcept {
    constexpr auto fInWord = [](char c) {
        return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '+' || c == '-' ||
               c == '.';
    };
    const std::size_t nStart = n++;
    if (s[nStart] == '"') {
        for (; n < s.size() && s[n] != '"'; ++n)
            if (s[n] == '\\') ++n;
        return std::min(n + 1, s.size());
    }
    while (fInWord(s[nStart]) && n < s.size() && fInWord(s[n]))
        ++n;
    return n;
}

/// The beginning of the token that is wrong, or the byte within a string.
std::size_t findWrong(std::string_view s, std::size_t nAt) noexcept {
    std::size_t nStart = 0;
    for (std::size_t n = 0; n < std::min(nAt + 1, s.size()); n = endOfToken(s, n))
        nStart = n;
    return nAt < s.size() && (s[nStart] != '"' || s[nAt] == '"') ? nStart : nAt;
}

/// The first number that no double holds.
std::size_t findTooLarge(const std::string& s) noexcept {
    const auto fIsTooLarge = [](const char* p) {
        return (*p == '-' || (*p >= '0' && *p <= '9')) && std::isinf(std::strtod(p, nullptr));
    };
    std::size_t n = 0;
    while (n < s.size() && !fIsTooLarge(s.c_str() + n))
        n = endOfToken(s, n);
    return n;
}

/// nAt: the byte, from 0, that is wrong.
[[noreturn]] void refuseAt(std::string_view sText, std::size_t nAt, std::wstring_view sReason) {
    const std::string_view sBefore = sText.substr(0, nAt);
    const auto nLine = 1 + std::ranges::count(sBefore, '\n');
    const std::size_t nColumn = sBefore.size() - (sBefore.rfind('\n') + 1) + 1;
    throw RequestError(400, L"Line " + std::to_wstring(nLine) + L", column " + std::to_wstring(nColumn) +
                                L" of the JSON: " + std::wstring(sReason) + L".");
}

std::string readAll(ZQHttpStream& rStream, const JsonLimits& rLimits) {
    std::string sText;
    for (std::size_t nRead = 1; nRead != 0;) {
        const std::size_t nHad = sText.size();
        sText.resize(nHad + std::min(knChunk, rLimits.nMostBytes - nHad) + 1);
        nRead = rStream.ReadBinary(sText.data() + nHad, sText.size() - nHad);
        sText.resize(nHad + nRead);
        if (sText.size() > rLimits.nMostBytes) refuseLength(rLimits);
    }
    return sText;
}

/// A declared length that has not come, of a client that stalls for instance, would leave a value that
/// looks whole.
void checkWhole(ZQHttpStream& rStream, std::string_view sText) {
    ZQWString sLength;
    long long nLength = 0;
    if (rStream.getRequestHeader(L"Content-Length", sLength) &&
        parseNumber(sLength, 0, std::numeric_limits<long long>::max(), nLength) &&
        std::cmp_greater(nLength, sText.size()))
        refuseAt(sText, sText.size(), L"it ends before its declared length");
}

/// Looked at before the text is parsed, which would build all of it first.
void checkDepth(std::string_view sText, const JsonLimits& rLimits) {
    std::size_t nDepth = 0;
    for (std::size_t n = 0; n < sText.size(); n = endOfToken(sText, n)) {
        if (sText[n] == '[' || sText[n] == '{') {
            if (++nDepth > rLimits.nMostDepth) refuseAt(sText, n, L"it nests too deep here");
        } else if (sText[n] == ']' || sText[n] == '}') {
            nDepth -= nDepth == 0 ? 0 : 1;
        }
    }
}

}  // namespace

JsonBody::JsonBody(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest, const JsonLimits& rLimits) {
    if (!isJson(getMediaType(rStream)))
        throw RequestError(415, L"This takes JSON, of the type application/json.");
    // Of a type such as application/xml+json the body has been read already.
    if (rRequest.sBody.length() > rLimits.nMostBytes) refuseLength(rLimits);
    const std::string sText =
        rRequest.bBodyInStream ? readAll(rStream, rLimits) : std::string(rRequest.sBody.view());
    checkWhole(rStream, sText);
    checkDepth(sText, rLimits);
    try {
        m_tValue = nlohmann::json::parse(sText);
    } catch (const nlohmann::json::parse_error& e) {
        // The last byte that was read, counted from 1; one behind the last when the text ends too early.
        refuseAt(sText, findWrong(sText, std::min(e.byte == 0 ? 0 : e.byte - 1, sText.size())),
                 e.byte > sText.size() ? L"it ends too early" : L"this is not expected here");
    } catch (const nlohmann::json::out_of_range&) {
        refuseAt(sText, findTooLarge(sText), L"this number is too large");
    }
}

const nlohmann::json& JsonBody::require(const char* pName) const {
    const auto it = m_tValue.find(pName);
    if (it == m_tValue.end())
        throw RequestError(400, L"The JSON should have \"" + std::wstring(fromUtf8(pName)) + L"\".");
    return *it;
}

void JsonBody::refuse(const char* pName) {
    throw RequestError(
        400, L"\"" + std::wstring(fromUtf8(pName)) + L"\" in the JSON is not of the kind expected.");
}

void sendJson(ZQHttpStream& rStream, const nlohmann::json& rValue) {
    rStream.SetContentType(L"application/json");
    rStream.SetOutputCharset({});
    rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    const std::string sText = rValue.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    rStream.writeBinary(sText.data(), sText.size());
}

}  // namespace kit
