#include "zq/httpstream/queryparameters.h"

#include <algorithm>

#include "zq/foundation/i18nutils.h"
#include "zq/foundation/stringbuffer.h"

namespace {

/// The value of a hexadecimal digit; -1: it is none.
int hexDigit(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/// The byte that the escape at the start of s stands for; -1: it is malformed.
int escapedByte(std::string_view s) noexcept {
    if (s.size() < 3) return -1;
    const int nHigh = hexDigit(s[1]), nLow = hexDigit(s[2]);
    return nHigh < 0 || nLow < 0 ? -1 : nHigh << 4 | nLow;
}

void unescape(NarrowStringBufferBase& rBytes, std::string_view s) {
    while (!s.empty()) {
        const std::size_t nPlain = std::min(s.find_first_of("+%"), s.size());
        rBytes.append(s.substr(0, nPlain));
        s.remove_prefix(nPlain);
        if (s.empty()) return;
        const int nByte = s[0] == '+' ? ' ' : escapedByte(s);
        rBytes.append(nByte < 0 ? s[0] : static_cast<char>(nByte));
        s.remove_prefix(s[0] == '+' || nByte < 0 ? 1 : 3);
    }
}

/// Turns one name or value after the other into text; keeps its buffers between them.
class Decoder {
public:
    explicit Decoder(const Transcoding& rTranscoding) noexcept : m_rTranscoding(rTranscoding) {}

    ZQWString decode(std::string_view s) {
        m_tBytes.clear();
        m_tText.clear();
        unescape(m_tBytes, s);
        m_rTranscoding.decode(m_tText, m_tBytes.view());
        return m_tText.toString();
    }

private:
    const Transcoding& m_rTranscoding;
    NarrowStringBuffer m_tBytes;
    StringBuffer m_tText;
};

}  // namespace

QueryParameters::QueryParameters(NarrowRefString sQuery, const Transcoding& rTranscoding, std::size_t nMost) {
    parse(sQuery.view(), rTranscoding, nMost);
}

QueryParameters::QueryParameters(NarrowRefString sQuery, const Handle<const CharacterSet>& hCharset,
                                 std::size_t nMost) {
    if (hCharset.isNull())
        parse(sQuery.view(), I18NUtils::kUTF8, nMost);
    else
        parse(sQuery.view(), UniversalTranscoding(hCharset), nMost);
}

void QueryParameters::parse(std::string_view sQuery, const Transcoding& rTranscoding, std::size_t nMost) {
    Decoder tDecoder(rTranscoding);
    while (!sQuery.empty()) {
        const std::size_t nEnd = std::min(sQuery.find('&'), sQuery.size());
        const std::string_view sPair = sQuery.substr(0, nEnd);
        sQuery.remove_prefix(std::min(nEnd + 1, sQuery.size()));
        if (sPair.empty()) continue;
        if (m_tParameters.size() == nMost)
            ZQTHROW_prethrowProcessException(TooManyParameters(nMost), true, ZQ_WFILE, __LINE__);
        const std::size_t nEquals = std::min(sPair.find('='), sPair.size());
        const ZQWString sName = tDecoder.decode(sPair.substr(0, nEquals));
        m_tParameters.push_back({sName, tDecoder.decode(sPair.substr(std::min(nEquals + 1, sPair.size())))});
    }
}

const ZQWString* QueryParameters::find(std::wstring_view sName) const noexcept {
    const auto it =
        std::ranges::find(m_tParameters, sName, [](const Parameter& r) { return r.sName.view(); });
    return it == end() ? nullptr : &it->sValue;
}

ZQWString QueryParameters::get(std::wstring_view sName, const ZQWString& sDefault) const {
    const ZQWString* const pValue = find(sName);
    return pValue ? *pValue : sDefault;
}

tl::vector<ZQWString> QueryParameters::getAll(std::wstring_view sName) const {
    tl::vector<ZQWString> tValues;
    for (const Parameter& rParameter : m_tParameters)
        if (rParameter.sName == sName) tValues.push_back(rParameter.sValue);
    return tValues;
}

QueryParameters::TooManyParameters::TooManyParameters(std::size_t nMost)
    : Exception(GDString(L"There are more than %1 parameters.")) {
    setMsgInsert(1, GDUInteger(nMost));
}

QueryParameters::TooManyParameters* QueryParameters::TooManyParameters::clone() const {
    return new TooManyParameters(*this);
}
