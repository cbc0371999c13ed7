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
    const auto fIs = [s](std::wstring_view sType) { return compareNoCase(s, sType) == 0; };
    if (fIs(L"text/html")) return kHTML;
    if (fIs(L"text/xml") || fIs(L"application/xml")) return kXML;
    if (s.size() > 4 && compareNoCase(s.substr(s.size() - 4), L"+xml") == 0) return kXML;
    return compareNoCase(s.substr(0, 5), L"text/") == 0 ? kText : kUnknown;
}

const ZQWString& WebContentFormat::getContentType(EFormat eFormat) noexcept {
    return s_ksContentTypes[eFormat];
}
