#include "zq/httpstream/queryparameters.h"

#include <emmintrin.h>

#include <algorithm>
#include <utility>

#include "zq/foundation/i18nutils.h"
#include "zq/foundation/stringbuffer.h"

namespace {

/// Room is made at first for parameters of so many bytes, and for so many of them.
constexpr std::size_t s_knUsualLength = 8, s_knMostAtOnce = 32;

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

/// Whether s has anything to unescape; looks at 16 bytes at a time.
bool isEscaped(std::string_view s) noexcept {
    const __m128i tPlus = _mm_set1_epi8('+'), tPercent = _mm_set1_epi8('%');
    for (; s.size() >= 16; s.remove_prefix(16)) {
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s.data()));
        if (_mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(t, tPlus), _mm_cmpeq_epi8(t, tPercent))) != 0)
            return true;
    }
    return std::ranges::any_of(s, [](char c) { return c == '+' || c == '%'; });
}

void unescape(NarrowStringBufferBase& rBytes, std::string_view s) {
    char* const pStart = rBytes.getAppendBuffer(s.size());
    char* pTo = pStart;
    for (std::size_t n = 0; n < s.size(); ++n) {
        const int nByte = s[n] == '%' ? escapedByte(s.substr(n)) : -1;
        if (nByte >= 0) n += 2;
        *pTo++ = nByte >= 0 ? static_cast<char>(nByte) : s[n] == '+' ? ' ' : s[n];
    }
    rBytes.commitAppendBuffer(static_cast<std::size_t>(pTo - pStart));
}

/// Turns one name or value after the other into text; keeps its buffer between them.
class Decoder {
public:
    explicit Decoder(const Transcoding& rTranscoding) noexcept : m_rTranscoding(rTranscoding) {}

    ZQWString decode(std::string_view s) {
        if (s.empty()) return {};
        if (isEscaped(s)) {
            m_tBytes.clear();
            unescape(m_tBytes, s);
            s = m_tBytes.view();
        }
        // Hardly any text has more characters than bytes.
        StringMaker tText(s.size());
        m_rTranscoding.decode(tText, s);
        return tText.takeString();
    }

private:
    const Transcoding& m_rTranscoding;
    NarrowStringBuffer m_tBytes;
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
    if (!sQuery.empty())
        m_tParameters.reserve(std::min({sQuery.size() / s_knUsualLength + 1, nMost, s_knMostAtOnce}));
    while (!sQuery.empty()) {
        const std::size_t nEnd = std::min(sQuery.find('&'), sQuery.size());
        const std::string_view sPair = sQuery.substr(0, nEnd);
        sQuery.remove_prefix(std::min(nEnd + 1, sQuery.size()));
        if (sPair.empty()) continue;
        if (m_tParameters.size() == nMost)
            ZQTHROW_prethrowProcessException(TooManyParameters(nMost), true, ZQ_WFILE, __LINE__);
        const std::size_t nEquals = std::min(sPair.find('='), sPair.size());
        ZQWString sName = tDecoder.decode(sPair.substr(0, nEquals));
        m_tParameters.push_back(
            {std::move(sName), tDecoder.decode(sPair.substr(std::min(nEquals + 1, sPair.size())))});
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
    : ClonedException(GDString(L"There are more than %1 parameters.")) {
    setMsgInsert(1, GDUInteger(nMost));
}
