#include "zq/httpstream/webcontentformat.h"

#include "zq/foundation/nocasecompareless.h"

namespace {

/// In the order of EFormat.
const ZQWString s_ksContentTypes[] = {ZQWString(), ZQWString::eternal(L"text/html"),
                                      ZQWString::eternal(L"application/xml"),
                                      ZQWString::eternal(L"text/plain")};

}  // namespace

WebContentFormat::EFormat WebContentFormat::fromContentType(std::wstring_view sContentType) noexcept {
    std::wstring_view s = sContentType.substr(0, sContentType.find(L';'));
    while (!s.empty() && (s.back() == L' ' || s.back() == L'\t'))
        s.remove_suffix(1);
    const auto fIs = [s](std::wstring_view sType) { return equalNoCase(s, sType); };
    if (fIs(L"text/html")) return kHTML;
    if (fIs(L"text/xml") || fIs(L"application/xml")) return kXML;
    if (s.size() > 4 && equalNoCase(s.substr(s.size() - 4), L"+xml")) return kXML;
    return startsWithNoCase(s, L"text/") ? kText : kUnknown;
}

const ZQWString& WebContentFormat::getContentType(EFormat eFormat) noexcept {
    return s_ksContentTypes[eFormat];
}
