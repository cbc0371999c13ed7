// Of what stands within header fields and queries: composite headers read back as they were written, dates
// that are understood have one text, names of downloads are safe to quote, and queries survive being encoded
// anew.

#include "fuzzinput.h"
#include "zq/foundation/encodingurl.h"
#include "zq/foundation/nocasecompareless.h"
#include "zq/foundation/utf8text.h"
#include "zq/httpstream/httpdateutils.h"
#include "zq/httpstream/multipartparsingutils.h"
#include "zq/httpstream/queryparameters.h"
#include "zq/memoryhost/memoryexchange.h"
#include "zq/webhttpserver/kivhttpserver.h"

#include "kivserverstream.h"

using fuzz::require;

namespace {

Headers parse(const std::wstring& s) {
    Headers tAttributes;
    MultipartParsingUtils::parseCompositeHeader(ZQWString(s), tAttributes);
    return tAttributes;
}

void checkCompositeHeader(const ZQWString& sHeader) {
    for (const auto& [sName, sValue] : parse(std::wstring(sHeader.view()))) {
        const std::wstring_view s = sName.view();
        require(s.find_first_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZ=;") == s.npos, "a name in lower case");
        if (sValue.view().find_first_of(L"\"\\") != s.npos || s.find_first_of(L"\" \t,") != s.npos) continue;
        const Headers tAgain = parse(L"x; " + std::wstring(s) + L"=\"" + std::wstring(sValue.view()) +
                                     L"\"; z=1; " + std::wstring(s) + L"=other");
        const auto it = tAgain.find(sName);
        require(it != tAgain.end() && it->second == sValue, "the value between quotes");
    }
}

void checkDate(std::wstring_view sDate) {
    std::time_t nTime = 0, nAgain = 0;
    if (!HttpDateUtils::parseHttpDate(sDate, nTime)) return;
    StringBuffer tText;
    HttpDateUtils::formatHttpDate(tText, nTime);
    require(tText.length() == 29 && HttpDateUtils::parseHttpDate(tText.view(), nAgain), "a date of one form");
    // But for the leap second behind the last text.
    require(nAgain == std::min<std::time_t>(nTime, 253402300799), "the same instant");
}

/// The header that offers a response as a file of that name.
void checkFileName(const ZQWString& sName, bool bRFC2047, unsigned nMost) {
    MemoryRequest tRequest;
    MemoryResponse tResponse;
    MemoryExchange tExchange(tRequest, tResponse);
    kiv::KIVServerHttpStream tStream(tExchange.getRequest(), tExchange.getResponse(), {});
    tStream.setFeatureTable(Handle<const FeatureTable>(
        new FeatureTable({{ZQWString(L"HTTPFeatures.rfc2047Headers"), bRFC2047}})));
    tStream.setMaxContentDispFilenameLen(nMost);
    tStream.setContentDisposition(ContentDisposition(ContentDisposition::kInline, sName));
    tStream.Flush();
    for (const std::string& sBreach : tResponse.tBreaches)
        require(false, sBreach);
    const std::string sHeader = tResponse.getValues("Content-Disposition").at(0);
    require(std::ranges::all_of(sHeader, [](char c) { return c >= ' ' && c < '\x7f'; }), "visible ASCII");
    if (sName.empty()) return require(sHeader == "inline", "no name");
    require(sHeader.size() <= nMost + std::string_view("inline; filename=\"=?utf-8?b?"
                                                       "?=\"")
                                          .size(),
            "a short name");
    const ZQWString sWide = fromUtf8(sHeader);
    const Headers tRead = parse(std::wstring(sWide.view()));
    require(sHeader == "inline; filename=\"" + toUtf8(tRead.at(ZQWString(L"filename"))) + "\"", "a name");
}

/// What is left of a content type, when its character set has been taken out, stays as it is.
void checkContentType(const ZQWString& sType) {
    MemoryRequest tRequest;
    MemoryResponse tResponse;
    MemoryExchange tExchange(tRequest, tResponse);
    kiv::KIVServerHttpStream tStream(tExchange.getRequest(), tExchange.getResponse(), {});
    try {
        tStream.SetContentType(sType);
    } catch (const CharacterSet::UnknownCharset&) {
        return require(tStream.GetContentType().empty(), "nothing of a type that is refused");
    }
    const ZQWString sLeft = tStream.GetContentType();
    tStream.SetContentType(sLeft);
    require(tStream.GetContentType() == sLeft, "no character set");
}

void checkQuery(std::string_view sQuery) {
    const auto fRead = [](std::string_view s) {
        return QueryParameters(NarrowRefString(s.data(), s.size()), Handle<const CharacterSet>(), 50);
    };
    try {
        const QueryParameters tFirst = fRead(sQuery);
        NarrowStringBuffer tWritten;
        for (const auto& [sName, sValue] : tFirst) {
            if (!tWritten.empty()) tWritten.append('&');
            W2NEncodingURL().encode(tWritten, sName);
            tWritten.append('=');
            W2NEncodingURL().encode(tWritten, sValue);
        }
        const QueryParameters tSecond = fRead(tWritten.view());
        const auto fSame = [](const auto& a, const auto& b) {
            return a.sName == b.sName && a.sValue == b.sValue;
        };
        require(std::ranges::equal(tFirst, tSecond, fSame), "the same parameters");
    } catch (const QueryParameters::TooManyParameters&) {
        require(std::ranges::count(sQuery, '&') >= 50, "many parameters");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static const auto s_pBefore = Exception::setPrethrowReporter(nullptr);
    (void)s_pBefore;
    fuzz::FuzzInput tInput(pData, nSize);
    const bool bRFC2047 = tInput.takeNumber(1) == 1;
    const auto nMost = static_cast<unsigned>(tInput.takeNumber(200));
    const ZQWString sText = fromUtf8(tInput.getText());
    checkCompositeHeader(sText);
    checkDate(sText.view());
    checkContentType(sText);
    checkFileName(sText, bRFC2047, nMost);
    checkQuery(tInput.getText());
    return 0;
}
