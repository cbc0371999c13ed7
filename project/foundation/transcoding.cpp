#include "zq/foundation/transcoding.h"

#include <unicode/ucnv_cb.h>

#include "icuconverter.h"
#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/i18nutils.h"

const TranscodingUTF8 I18NUtils::kUTF8;

namespace {

bool isHighSurrogate(char16_t c) noexcept {
    return c >= 0xD800 && c <= 0xDBFF;
}

bool isLowSurrogate(char16_t c) noexcept {
    return c >= 0xDC00 && c <= 0xDFFF;
}

/// Joins UTF-16 code units, handed over one after the other, to characters.
class Utf16Joiner {
public:
    explicit Utf16Joiner(WideStringBufferBase& rBuffer) noexcept : m_rBuffer(rBuffer) {}

    void add(char16_t c) {
        if (m_cHigh != 0 && isLowSurrogate(c)) {
            m_rBuffer.append(static_cast<wchar_t>(0x10000 + ((m_cHigh & 0x3FF) << 10) + (c & 0x3FF)));
            m_cHigh = 0;
            return;
        }
        finish();
        if (isHighSurrogate(c))
            m_cHigh = c;
        else
            m_rBuffer.append(isLowSurrogate(c) ? kReplacementCharacter : static_cast<wchar_t>(c));
    }
    void finish() {
        if (m_cHigh != 0) m_rBuffer.append(kReplacementCharacter);
        m_cHigh = 0;
    }

private:
    WideStringBufferBase& m_rBuffer;
    char16_t m_cHigh = 0;
};

void decodeUtf16(WideStringBufferBase& rBuffer, std::string_view s, std::size_t nLowByte) {
    Utf16Joiner tJoiner(rBuffer);
    std::size_t n = 0;
    for (; s.size() - n >= 2; n += 2) {
        const auto nLow = static_cast<unsigned char>(s[n + nLowByte]);
        const auto nHigh = static_cast<unsigned char>(s[n + 1 - nLowByte]);
        tJoiner.add(static_cast<char16_t>(nHigh << 8 | nLow));
    }
    tJoiner.finish();
    if (n != s.size()) rBuffer.append(kReplacementCharacter);
}

/// What ICU calls for bytes without a meaning. Its own replacement is U+001A for single bytes of some
/// character sets.
void replaceByIcu(const void*, UConverterToUnicodeArgs* pArgs, const char*, int32_t,
                  UConverterCallbackReason eReason, UErrorCode* peError) {
    if (eReason > UCNV_IRREGULAR) return;  // no bytes: the converter is reset or closed
    *peError = U_ZERO_ERROR;
    constexpr auto kcReplacement = static_cast<char16_t>(kReplacementCharacter);
    ucnv_cbToUWriteUChars(pArgs, &kcReplacement, 1, 0, peError);
}

/// The calling thread's converter of a character set. A form has many short texts, and one converter serves
/// them all: it is kept until another set is asked for.
UConverter* threadConverter(const CharacterSet& rCharset) {
    thread_local UConverterPtr t_pConverter;
    thread_local ZQNarrowString t_sName;
    if (t_sName != rCharset.getConverterName()) {
        UConverterPtr pConverter = openIcuConverter(rCharset);
        UErrorCode eError = U_ZERO_ERROR;
        ucnv_setToUCallBack(pConverter.get(), &replaceByIcu, nullptr, nullptr, nullptr, &eError);
        t_pConverter = std::move(pConverter);
        t_sName = rCharset.getConverterName();
    }
    ucnv_resetToUnicode(t_pConverter.get());
    return t_pConverter.get();
}

void decodeByIcu(WideStringBufferBase& rBuffer, std::string_view s, const CharacterSet& rCharset) {
    UConverter* const pConverter = threadConverter(rCharset);
    Utf16Joiner tJoiner(rBuffer);
    const char* pFrom = s.data();
    UErrorCode eError = U_BUFFER_OVERFLOW_ERROR;
    char16_t tUnits[512] = {};
    while (eError == U_BUFFER_OVERFLOW_ERROR) {
        char16_t* pTo = tUnits;
        eError = U_ZERO_ERROR;
        ucnv_toUnicode(pConverter, &pTo, std::end(tUnits), &pFrom, s.data() + s.size(), nullptr, true,
                       &eError);
        for (const char16_t* p = tUnits; p != pTo; ++p)
            tJoiner.add(*p);
    }
    tJoiner.finish();
}

}  // namespace

Transcoding::~Transcoding() = default;

void TranscodingUTF8::decode(WideStringBufferBase& rBuffer, std::string_view s) const {
    N2WEncodingUTF8().encode(rBuffer, s);
}

void UniversalTranscoding::decode(WideStringBufferBase& rBuffer, std::string_view s) const {
    switch (m_hCharset->getKind()) {
        case CharacterSet::EKind::kUtf8:
            N2WEncodingUTF8().encode(rBuffer, s);
            break;
        case CharacterSet::EKind::kUtf16LittleEndian:
            decodeUtf16(rBuffer, s, 0);
            break;
        case CharacterSet::EKind::kUtf16BigEndian:
            decodeUtf16(rBuffer, s, 1);
            break;
        case CharacterSet::EKind::kIcu:
            decodeByIcu(rBuffer, s, *m_hCharset);
            break;
    }
}
