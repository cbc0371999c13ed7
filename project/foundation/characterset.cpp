#include "zq/foundation/characterset.h"

#include <algorithm>

#include "icuconverter.h"
#include "zq/foundation/nocasecompareless.h"

UConverterPtr openIcuConverter(std::wstring_view sLabel) noexcept {
    // ICU's own names are short; whatever is longer, or is not ASCII, names nothing.
    constexpr std::size_t knLongestName = UCNV_MAX_CONVERTER_NAME_LENGTH - 1;
    if (sLabel.empty() || sLabel.size() > knLongestName) return nullptr;
    if (!std::all_of(sLabel.begin(), sLabel.end(), [](wchar_t c) { return c > 0x20 && c < 0x7F; }))
        return nullptr;
    // A comma would start an option, a slash a file path.
    if (sLabel.find_first_of(L",/") != sLabel.npos) return nullptr;
    char tName[UCNV_MAX_CONVERTER_NAME_LENGTH] = {};
    std::transform(sLabel.begin(), sLabel.end(), tName, [](wchar_t c) { return static_cast<char>(c); });
    UErrorCode eError = U_ZERO_ERROR;
    UConverterPtr pConverter(ucnv_open(tName, &eError));
    return U_SUCCESS(eError) ? std::move(pConverter) : nullptr;
}

const Handle<const CharacterSet>& CharacterSet::utf8() {
    static const Handle<const CharacterSet> s_hUtf8(new CharacterSet(EKind::kUtf8, ZQWString(L"utf-8")));
    return s_hUtf8;
}

Handle<const CharacterSet> CharacterSet::find(std::wstring_view sLabel) {
    if (sLabel == utf8()->getEncodingLabel().view()) return utf8();
    const auto fMake = [sLabel](EKind eKind) {
        return Handle<const CharacterSet>(new CharacterSet(eKind, ZQWString(sLabel)));
    };
    if (compareNoCase(sLabel, L"utf-8") == 0) return fMake(EKind::kUtf8);
    if (compareNoCase(sLabel, L"unicode") == 0) return fMake(EKind::kUtf16LittleEndian);
    if (compareNoCase(sLabel, L"unicodeFFFE") == 0) return fMake(EKind::kUtf16BigEndian);
    if (!openIcuConverter(sLabel))
        ZQTHROW_prethrowProcessException(UnknownCharset(sLabel), true, ZQ_WFILE, __LINE__);
    return fMake(EKind::kIcu);
}

CharacterSet::UnknownCharset::UnknownCharset(std::wstring_view sLabel)
    : Exception(GDString(L"The character set \"%1\" is not known.")) {
    setMsgInsert(1, GDString(ZQWString(sLabel)));
}

CharacterSet::UnknownCharset* CharacterSet::UnknownCharset::clone() const {
    return new UnknownCharset(*this);
}
