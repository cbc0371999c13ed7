#include "http/responsehead.h"

#include <emmintrin.h>

#include <algorithm>

#include "http/byteclass.h"
#include "http/fieldtext.h"
#include "http/reasonphrase.h"

namespace webcontainer {

namespace {

constexpr std::string_view s_ksFramingFields[] = {"Connection", "Content-Length", "Keep-Alive",
                                                  "Transfer-Encoding", "Upgrade"};
constexpr std::string_view s_ksBodyFields[] = {"Content-Type",  "Content-Encoding", "Content-Disposition",
                                               "Content-Range", "Last-Modified",    "ETag"};
constexpr std::string_view s_ksDate = "Date";
constexpr std::string_view s_ksServer = "Server";
constexpr std::string_view s_ksColon = ": ";
constexpr std::string_view s_ksEndOfLine = "\r\n";

bool isName(std::string_view sName, std::string_view sKnown) noexcept {
    return sName.size() == sKnown.size() && equalsNoCase(sName, sKnown);
}

bool isFraming(std::string_view sName) noexcept {
    return std::ranges::any_of(s_ksFramingFields, [sName](std::string_view s) { return isName(sName, s); });
}

/// Whether a name is as long as one that means something here, which tells most of the others apart.
bool isOfNote(std::string_view sName) noexcept {
    constexpr unsigned nLengths = [] {
        unsigned n = 1U << s_ksDate.size() | 1U << s_ksServer.size();
        for (const std::string_view s : s_ksFramingFields)
            n |= 1U << s.size();
        return n;
    }();
    return sName.size() < 32 && (nLengths >> sName.size() & 1) != 0;
}

/// Whether a name is a token (RFC 9110 section 5.6.2); quick for letters and hyphens.
bool isToken(std::string_view sName) noexcept {
    if (sName.size() < 8 || sName.size() > 16) return isAllOf(kTokenByte, sName);
    const auto fLoad8 = [](const char* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); };
    // Both halves may overlap.
    const __m128i t = _mm_unpacklo_epi64(fLoad8(sName.data()), fLoad8(sName.data() + sName.size() - 8));
    const __m128i tFromA = _mm_sub_epi8(_mm_or_si128(t, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
    const __m128i tLetters = _mm_cmpeq_epi8(_mm_min_epu8(tFromA, _mm_set1_epi8('z' - 'a')), tFromA);
    const __m128i tUsual = _mm_or_si128(tLetters, _mm_cmpeq_epi8(t, _mm_set1_epi8('-')));
    return _mm_movemask_epi8(tUsual) == 0xFFFF || isAllOf(kTokenByte, sName);
}

/// Copies a text and returns whether it has control characters but HTAB, 16 bytes at a time.
bool copyFinding(char* pTo, std::string_view s) noexcept {
    constexpr std::size_t knWidth = 16;
    const char* const pFrom = s.data();
    if (s.size() < knWidth) {
        bool bControl = false;
        for (std::size_t n = 0; n < s.size(); ++n)
            bControl |= !isOf(kValueByte, pTo[n] = pFrom[n]);
        return bControl;
    }
    const __m128i tLast = _mm_set1_epi8(0x1F), tTab = _mm_set1_epi8('\t'), tDelete = _mm_set1_epi8(0x7F);
    __m128i tControls = _mm_setzero_si128();
    for (std::size_t n = 0; n != s.size(); n += knWidth) {
        n = std::min(n, s.size() - knWidth);  // the last vector reaches back
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pFrom + n));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pTo + n), t);
        const __m128i tLow =
            _mm_andnot_si128(_mm_cmpeq_epi8(t, tTab), _mm_cmpeq_epi8(_mm_min_epu8(t, tLast), t));
        tControls = _mm_or_si128(tControls, _mm_or_si128(tLow, _mm_cmpeq_epi8(t, tDelete)));
    }
    return _mm_movemask_epi8(tControls) != 0;
}

void appendFraming(NarrowStringBufferBase& rBuffer, const ResponseLine& rLine) {
    if (rLine.eFraming == EResponseFraming::kChunked) rBuffer.append("Transfer-Encoding: chunked\r\n");
    if (rLine.eFraming != EResponseFraming::kLength) return;
    rBuffer.append("Content-Length: ");
    appendDecimal(rBuffer, rLine.nLength);
    rBuffer.append(s_ksEndOfLine);
}

}  // namespace

ResponseHead::EAdded ResponseHead::addField(std::string_view sName, std::string_view sValue) {
    if (!isToken(sName)) return EAdded::kDropped;
    if (isOfNote(sName)) {
        if (isFraming(sName)) return EAdded::kDropped;
        m_bHasDate = m_bHasDate || isName(sName, s_ksDate);
        m_bHasServer = m_bHasServer || isName(sName, s_ksServer);
    }
    m_tFields.getAppendBuffer(sName.size() + s_ksColon.size() + sValue.size() + s_ksEndOfLine.size());
    m_tFields.appendAll(sName, s_ksColon);
    char* const pValue = m_tFields.getAppendBuffer(sValue.size());
    const bool bControl = copyFinding(pValue, sValue);
    if (bControl)
        std::replace_if(
            pValue, pValue + sValue.size(), [](char c) { return !isOf(kValueByte, c); }, ' ');
    m_tFields.commitAppendBuffer(sValue.size());
    m_tFields.append(s_ksEndOfLine);
    return bControl ? EAdded::kCleaned : EAdded::kAdded;
}

void ResponseHead::clear() noexcept {
    m_tFields.clear();
    m_bHasDate = m_bHasServer = false;
}

void ResponseHead::removeBodyFields() noexcept {
    for (const std::string_view sName : s_ksBodyFields)
        removeFields(sName);
}

void ResponseHead::removeFields(std::string_view sName) noexcept {
    for (std::size_t nLine = 0; nLine < m_tFields.length();) {
        const std::string_view sRest = m_tFields.view().substr(nLine);
        const std::size_t nLength = sRest.find(s_ksEndOfLine) + s_ksEndOfLine.size();
        if (equalsNoCase(sRest.substr(0, sRest.find(':')), sName))
            m_tFields.erase(nLine, nLength);
        else
            nLine += nLength;
    }
}

void ResponseHead::append(NarrowStringBufferBase& rBuffer, const ResponseLine& rLine, std::string_view sDate,
                          std::string_view sServer) const {
    rBuffer.append("HTTP/1.1 ");
    appendDecimal(rBuffer, rLine.nStatus);
    rBuffer.appendAll(" ", getReasonPhrase(rLine.nStatus), s_ksEndOfLine);
    if (!m_bHasDate) rBuffer.appendAll(s_ksDate, s_ksColon, sDate, s_ksEndOfLine);
    if (!m_bHasServer && !sServer.empty()) rBuffer.appendAll(s_ksServer, s_ksColon, sServer, s_ksEndOfLine);
    appendFraming(rBuffer, rLine);
    if (!rLine.bKeepAlive)
        rBuffer.append("Connection: close\r\n");
    else if (rLine.bSayKeepAlive)
        rBuffer.append("Connection: keep-alive\r\n");
    rBuffer.appendAll(m_tFields.view(), s_ksEndOfLine);
}

}  // namespace webcontainer
