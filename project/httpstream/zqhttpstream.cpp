#include "zq/httpstream/zqhttpstream.h"

#include <algorithm>

#include "zq/foundation/nocasecompareless.h"

namespace {

std::wstring_view trim(std::wstring_view s) {
    const std::size_t nFrom = s.find_first_not_of(L" \t");
    return nFrom == s.npos ? std::wstring_view() : s.substr(nFrom, s.find_last_not_of(L" \t") + 1 - nFrom);
}

/// Where the next semicolon stands that is in no quoted string (RFC 9110 section 5.6.4), or the end.
std::size_t findSemicolon(std::wstring_view s, std::size_t nFrom) {
    bool bQuoted = false;
    for (; nFrom < s.size() && (bQuoted || s[nFrom] != L';'); ++nFrom) {
        if (s[nFrom] == L'"') bQuoted = !bQuoted;
        if (bQuoted && s[nFrom] == L'\\') ++nFrom;
    }
    return std::min(nFrom, s.size());
}

/// Takes the parameters charset out of a content type, of which the first one counts; rhCharset stays when
/// there is none.
ZQWString takeCharset(std::wstring_view sContentType, Handle<const CharacterSet>& rhCharset) {
    std::wstring sRest;
    bool bFound = false;
    for (std::size_t nFrom = 0, nTo; nFrom < sContentType.size(); nFrom = nTo) {
        nTo = findSemicolon(sContentType, nFrom + 1);
        const std::wstring_view sPiece = sContentType.substr(nFrom, nTo - nFrom);
        const std::size_t nEquals = sPiece.find(L'=');
        if (nFrom == 0 || nEquals == sPiece.npos ||
            !equalNoCase(trim(sPiece.substr(1, nEquals - 1)), L"charset")) {
            sRest += sPiece;
            continue;
        }
        std::wstring_view sLabel = trim(sPiece.substr(nEquals + 1));
        if (sLabel.size() > 1 && sLabel.front() == L'"' && sLabel.back() == L'"')
            sLabel = sLabel.substr(1, sLabel.size() - 2);
        if (!bFound) rhCharset = CharacterSet::find(sLabel);
        bFound = true;
    }
    return ZQWString(sRest);
}

}  // namespace

ZQHttpStream::~ZQHttpStream() = default;

void ZQHttpStream::SetFormat(WebContentFormat::EFormat eFormat) {
    setContentType(WebContentFormat::getContentType(eFormat), eFormat);
}

WebContentFormat::EFormat ZQHttpStream::GetFormat() const {
    return m_tInternals.eFormat;
}

HttpStreamInternals& ZQHttpStream::GetInternals() {
    return m_tInternals;
}

const HttpStreamInternals& ZQHttpStream::GetInternals() const {
    return m_tInternals;
}

void ZQHttpStream::setContentTypeHook(const ZQWString&) {}

bool ZQHttpStream::GetRequestHeader(const ZQWString& sName, ZQWString& rValue) {
    rValue = ZQWString();
    return getRequestHeader(sName, rValue);
}

void ZQHttpStream::SetContentType(const ZQWString& sContentType) {
    // Most have no parameter, and nothing to copy.
    if (sContentType.view().find(L';') == std::wstring_view::npos)
        return setContentType(sContentType, WebContentFormat::fromContentType(sContentType));
    const ZQWString sRest = takeCharset(sContentType, m_tInternals.hOutputCharset);
    setContentType(sRest, WebContentFormat::fromContentType(sRest));
}

void ZQHttpStream::setContentType(const ZQWString& sContentType, WebContentFormat::EFormat eFormat) {
    m_tInternals.sContentType = sContentType;
    m_tInternals.eFormat = eFormat;
    setContentTypeHook(sContentType);
}

const Handle<const FeatureTable>& ZQHttpStream::getFeatureTable() const noexcept {
    return m_tInternals.hFeatureTable.isNull() ? FeatureTable::getGlobal() : m_tInternals.hFeatureTable;
}
