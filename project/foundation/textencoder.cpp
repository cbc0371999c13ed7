#include "zq/foundation/textencoder.h"

#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <iterator>

#include "icuconverter.h"
#include "zq/foundation/encodingutf8.h"

namespace {

/// Characters that are converted at once.
constexpr std::size_t s_knPiece = 256;
/// Characters of "&#1114111;".
constexpr std::size_t s_knLongestReference = 10;

/// The one or two UTF-16 code units of a character (Unicode 15, section 3.9, D91); pTo must have room for
/// two.
char16_t* putUtf16(char16_t* pTo, wchar_t cWide) noexcept {
    const auto c = static_cast<char32_t>(cWide);
    if (c < 0x10000) {
        *pTo++ = static_cast<char16_t>(c);
    } else {
        *pTo++ = static_cast<char16_t>(0xD7C0 + (c >> 10));
        *pTo++ = static_cast<char16_t>(0xDC00 | (c & 0x3FF));
    }
    return pTo;
}

/// Appends UTF-16 code units as bytes; nLowByte is the place of the low byte in each pair: 0 or 1.
void encodeUtf16(NarrowStringBufferBase& rBuffer, std::wstring_view s, std::size_t nLowByte) {
    char* const pStart = rBuffer.getAppendBuffer(4 * s.size());
    char* pTo = pStart;
    char16_t tUnits[2];
    for (wchar_t c : s) {
        const char16_t* const pEnd = putUtf16(tUnits, c);
        for (const char16_t* p = tUnits; p != pEnd; ++p, pTo += 2) {
            pTo[nLowByte] = static_cast<char>(*p);
            pTo[1 - nLowByte] = static_cast<char>(*p >> 8);
        }
    }
    rBuffer.commitAppendBuffer(static_cast<std::size_t>(pTo - pStart));
}

/// Writes the converter's substitute for a character that the character set lacks. Like the callback below it
/// does so for every character: those of ICU drop joiners and others that are invisible themselves, and with
/// them what they do to their neighbours.
void writeSubstitute(const void*, UConverterFromUnicodeArgs* pArguments, const char16_t*, std::int32_t,
                     UChar32, UConverterCallbackReason eReason, UErrorCode* pError) {
    if (eReason > UCNV_IRREGULAR) return;  // not about a character
    *pError = U_ZERO_ERROR;
    ucnv_cbFromUWriteSub(pArguments, 0, pError);
}

/// Writes a character that the character set lacks as a numeric character reference.
void writeReference(const void*, UConverterFromUnicodeArgs* pArguments, const char16_t*, std::int32_t,
                    UChar32 nCodePoint, UConverterCallbackReason eReason, UErrorCode* pError) {
    if (eReason > UCNV_IRREGULAR) return;
    char16_t tText[s_knLongestReference + 1] = u"&#1114111;";
    const char16_t* const pEnd = tText + std::size(tText) - 1;
    char16_t* pStart = tText + std::size(tText) - 2;  // where the semicolon stands
    for (UChar32 n = nCodePoint; n != 0; n /= 10)
        *--pStart = static_cast<char16_t>(u'0' + n % 10);
    *--pStart = u'#';
    *--pStart = u'&';
    const char16_t* pFrom = pStart;
    *pError = U_ZERO_ERROR;
    ucnv_cbFromUWriteUChars(pArguments, &pFrom, pEnd, 0, pError);
}

/// Whether a character set has all characters of s.
bool canWrite(UConverter* pConverter, std::u16string_view s) noexcept {
    char tBytes[64];
    UErrorCode eError = U_ZERO_ERROR;
    ucnv_setFromUCallBack(pConverter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &eError);
    ucnv_fromUChars(pConverter, tBytes, sizeof tBytes, s.data(), static_cast<std::int32_t>(s.size()),
                    &eError);
    return U_SUCCESS(eError);
}

bool isUtf8Continuation(char c) noexcept {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

TextEncoder::TextEncoder(const Handle<const CharacterSet>& hCharset) : m_hCharset(hCharset) {}

TextEncoder::~TextEncoder() = default;

void TextEncoder::ConverterDeleter::operator()(UConverter* p) const noexcept {
    ucnv_close(p);
}

void TextEncoder::setUnmappable(EUnmappable eUnmappable) noexcept {
    m_eUnmappable = eUnmappable;
    if (!m_pConverter) return;
    const bool bReference = m_bWritesReferences && eUnmappable == EUnmappable::kCharacterReference;
    UErrorCode eError = U_ZERO_ERROR;
    ucnv_setFromUCallBack(m_pConverter.get(), bReference ? writeReference : writeSubstitute, nullptr, nullptr,
                          nullptr, &eError);
}

std::size_t TextEncoder::encodePiece(NarrowStringBufferBase& rBuffer, std::string_view sUtf8) {
    if (m_hCharset->getKind() == CharacterSet::EKind::kUtf8) {
        rBuffer.append(sUtf8);
        return sUtf8.size();
    }
    std::size_t nPiece = std::min(s_knPiece, sUtf8.size());
    while (nPiece < sUtf8.size() && isUtf8Continuation(sUtf8[nPiece]))
        --nPiece;
    StringBufferTemplate<s_knPiece, wchar_t> tWide;
    N2WEncodingUTF8().encode(tWide, sUtf8.substr(0, nPiece));
    if (m_hCharset->getKind() == CharacterSet::EKind::kIcu)
        encodeByIcu(rBuffer, tWide.view(), false);
    else
        encodeUtf16(rBuffer, tWide.view(),
                    m_hCharset->getKind() == CharacterSet::EKind::kUtf16LittleEndian ? 0 : 1);
    return nPiece;
}

void TextEncoder::finish(NarrowStringBufferBase& rBuffer) {
    if (m_pConverter) encodeByIcu(rBuffer, {}, true);
}

void TextEncoder::openConverter() {
    m_pConverter.reset(openIcuConverter(*m_hCharset).release());
    m_bWritesReferences = canWrite(m_pConverter.get(), u"&#0123456789;");
    UErrorCode eError = U_ZERO_ERROR;
    const char16_t cQuestionMark = u'?';
    ucnv_setSubstString(m_pConverter.get(), &cQuestionMark, 1, &eError);  // nothing, where it is missing
    setUnmappable(m_eUnmappable);
}

void TextEncoder::encodeByIcu(NarrowStringBufferBase& rBuffer, std::wstring_view s, bool bLast) {
    if (!m_pConverter) openConverter();
    char16_t tUnits[2 * s_knPiece];
    char16_t* pEnd = tUnits;
    for (wchar_t c : s)
        pEnd = putUtf16(pEnd, c);
    // Room for the worst, so that nothing can go wrong half-way: each character with a shift of its own, as
    // the ten characters of the longest reference; a mark or designator before all, and a shift behind it.
    const auto nMostBytes = static_cast<std::size_t>(ucnv_getMaxCharSize(m_pConverter.get()));
    char* const pStart = rBuffer.getAppendBuffer((s.size() + 2) * (nMostBytes + s_knLongestReference));
    char* pTo = pStart;
    const char16_t* pFrom = tUnits;
    UErrorCode eError = U_ZERO_ERROR;
    ucnv_fromUnicode(m_pConverter.get(), &pTo, pStart + rBuffer.appendBufferCapacity(), &pFrom, pEnd, nullptr,
                     bLast, &eError);
    rBuffer.commitAppendBuffer(static_cast<std::size_t>(pTo - pStart));
}
