#include "zq/foundation/textencoder.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <iterator>

#include "icuconverter.h"
#include "zq/foundation/encodingutf8.h"

namespace {

/// The one or two UTF-16 code units of a character (Unicode 15, section 3.9, D91); pTo must have room for
/// two.
char16_t* putUtf16(char16_t* pTo, wchar_t cWide) noexcept {
    const auto c = static_cast<char32_t>(isUnicodeScalar(cWide) ? cWide : kReplacementCharacter);
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
    char16_t tUnits[2];
    for (wchar_t c : s) {
        const char16_t* const pEnd = putUtf16(tUnits, c);
        char* pTo = rBuffer.getAppendBuffer(4);
        for (const char16_t* p = tUnits; p != pEnd; ++p, pTo += 2) {
            pTo[nLowByte] = static_cast<char>(*p);
            pTo[1 - nLowByte] = static_cast<char>(*p >> 8);
        }
        rBuffer.commitAppendBuffer(static_cast<std::size_t>(pEnd - tUnits) * 2);
    }
}

/// Writes a character that the character set lacks as a numeric character reference. ICU's own callback for
/// that drops joiners and other characters that are invisible themselves, and with them what they do to
/// others.
void writeReference(const void*, UConverterFromUnicodeArgs* pArguments, const char16_t*, std::int32_t,
                    UChar32 nCodePoint, UConverterCallbackReason eReason, UErrorCode* pError) {
    if (eReason > UCNV_IRREGULAR) return;  // not about a character
    char16_t tText[] = u"&#1114111;";
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

bool isUtf8Continuation(char c) noexcept {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

TextEncoder::TextEncoder(const Handle<const CharacterSet>& hCharset, EUnmappable eUnmappable)
    : m_hCharset(hCharset),
      m_eUnmappable(eUnmappable) {}

TextEncoder::~TextEncoder() = default;

void TextEncoder::ConverterDeleter::operator()(UConverter* p) const noexcept {
    ucnv_close(p);
}

void TextEncoder::encode(NarrowStringBufferBase& rBuffer, std::wstring_view s) {
    switch (m_hCharset->getKind()) {
        case CharacterSet::EKind::kUtf8:
            W2NEncodingUTF8().encode(rBuffer, s);
            break;
        case CharacterSet::EKind::kUtf16LittleEndian:
            encodeUtf16(rBuffer, s, 0);
            break;
        case CharacterSet::EKind::kUtf16BigEndian:
            encodeUtf16(rBuffer, s, 1);
            break;
        case CharacterSet::EKind::kIcu:
            encodeByIcu(rBuffer, s, false);
            break;
    }
}

void TextEncoder::encodeUtf8(NarrowStringBufferBase& rBuffer, std::string_view s) {
    if (m_hCharset->getKind() == CharacterSet::EKind::kUtf8) {
        rBuffer.append(s);
        return;
    }
    constexpr std::size_t knPiece = 1024;
    StringBufferTemplate<knPiece, wchar_t> tWide;
    while (!s.empty()) {
        std::size_t nPiece = std::min(knPiece, s.size());
        while (nPiece < s.size() && isUtf8Continuation(s[nPiece]))
            --nPiece;
        tWide.clear();
        N2WEncodingUTF8().encode(tWide, s.substr(0, nPiece));
        encode(rBuffer, tWide.view());
        s.remove_prefix(nPiece);
    }
}

void TextEncoder::finish(NarrowStringBufferBase& rBuffer) {
    if (m_pConverter) encodeByIcu(rBuffer, {}, true);
}

void TextEncoder::openConverter() {
    const std::wstring_view sLabel = m_hCharset->getEncodingLabel();
    m_pConverter.reset(openIcuConverter(sLabel).release());
    if (!m_pConverter)
        ZQTHROW_prethrowProcessException(CharacterSet::UnknownCharset(sLabel), true, ZQ_WFILE, __LINE__);
    UErrorCode eError = U_ZERO_ERROR;
    if (m_eUnmappable == EUnmappable::kCharacterReference) {
        ucnv_setFromUCallBack(m_pConverter.get(), writeReference, nullptr, nullptr, nullptr, &eError);
    } else {
        const char16_t cQuestionMark = u'?';
        ucnv_setSubstString(m_pConverter.get(), &cQuestionMark, 1, &eError);
    }
}

void TextEncoder::encodeByIcu(NarrowStringBufferBase& rBuffer, std::wstring_view s, bool bLast) {
    if (!m_pConverter) openConverter();
    constexpr std::size_t knPiece = 512;
    char16_t tUnits[2 * knPiece];
    do {
        const std::wstring_view sPiece = s.substr(0, knPiece);
        s.remove_prefix(sPiece.size());
        char16_t* pEnd = tUnits;
        for (wchar_t c : sPiece)
            pEnd = putUtf16(pEnd, c);
        const char16_t* pFrom = tUnits;
        UErrorCode eError = U_BUFFER_OVERFLOW_ERROR;
        while (eError == U_BUFFER_OVERFLOW_ERROR) {
            char* const pStart = rBuffer.getAppendBuffer(knPiece);
            char* pTo = pStart;
            eError = U_ZERO_ERROR;
            ucnv_fromUnicode(m_pConverter.get(), &pTo, pStart + rBuffer.appendBufferCapacity(), &pFrom, pEnd,
                             nullptr, bLast && s.empty(), &eError);
            rBuffer.commitAppendBuffer(static_cast<std::size_t>(pTo - pStart));
        }
    } while (!s.empty());
}
