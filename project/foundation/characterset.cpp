#include "zq/foundation/characterset.h"

#include <algorithm>
#include <string>

#include "clientcharsets.h"
#include "icuconverter.h"

namespace {

bool isLabelCharacter(wchar_t c) noexcept {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') ||
           std::wstring_view(L"0123456789-_.:+").find(c) != std::wstring_view::npos;
}

/// A label in small letters; empty when it cannot name anything.
std::string toName(std::wstring_view sLabel) {
    if (!std::ranges::all_of(sLabel, isLabelCharacter)) return {};
    std::string sName;
    for (const wchar_t c : sLabel)
        sName += static_cast<char>(c >= L'A' && c <= L'Z' ? c + (L'a' - L'A') : c);
    return sName;
}

UConverterPtr openByName(const char* pName) noexcept {
    UErrorCode eError = U_ZERO_ERROR;
    UConverterPtr pConverter(ucnv_open(pName, &eError));
    return U_SUCCESS(eError) ? std::move(pConverter) : nullptr;
}

/// Whether a letter stands for another one in ASCII; sets that have double bytes only, and no ASCII, pass.
bool isEbcdic(UConverter* pConverter) noexcept {
    constexpr char16_t kcLetter = u'A';
    char tBytes[16] = {};
    UErrorCode eError = U_ZERO_ERROR;
    return ucnv_fromUChars(pConverter, tBytes, sizeof tBytes, &kcLetter, 1, &eError) == 1 && tBytes[0] != 'A';
}

bool isFitForHttp(UConverter* pConverter) noexcept {
    switch (ucnv_getType(pConverter)) {
        case UCNV_SBCS:
        case UCNV_DBCS:
        case UCNV_MBCS:
            return !isEbcdic(pConverter);
        case UCNV_LATIN_1:
        case UCNV_US_ASCII:
        case UCNV_UTF8:
        case UCNV_CESU8:
        case UCNV_UTF16:
        case UCNV_UTF16_BigEndian:
        case UCNV_UTF16_LittleEndian:
        case UCNV_UTF32:
        case UCNV_UTF32_BigEndian:
        case UCNV_UTF32_LittleEndian:
        case UCNV_ISO_2022:
            return true;
        default:
            return false;
    }
}

}  // namespace

UConverterPtr openIcuConverter(const CharacterSet& rCharset) {
    UConverterPtr pConverter = openByName(rCharset.getConverterName().c_str());
    if (!pConverter)
        ZQTHROW_prethrowProcessException(CharacterSet::UnknownCharset(rCharset.getEncodingLabel()), true,
                                         ZQ_WFILE, __LINE__);
    return pConverter;
}

const Handle<const CharacterSet>& CharacterSet::utf8() {
    static const Handle<const CharacterSet> s_hUtf8 = [] {
        Handle<const CharacterSet> hUtf8(new CharacterSet(EKind::kUtf8, ZQWString::eternal(L"utf-8")));
        hUtf8->makeEternal();
        return hUtf8;
    }();
    return s_hUtf8;
}

Handle<const CharacterSet> CharacterSet::find(std::wstring_view sLabel) {
    return open(sLabel, toName(sLabel));
}

Handle<const CharacterSet> CharacterSet::findForClient(std::wstring_view sLabel) {
    return open(sLabel, findClientCharset(toName(sLabel)));
}

/// sName: what to open, in small letters, followed by a NUL; empty when the label names nothing.
Handle<const CharacterSet> CharacterSet::open(std::wstring_view sLabel, std::string_view sName) {
    if (sLabel == utf8()->getEncodingLabel().view()) return utf8();
    const auto fMake = [sLabel](EKind eKind, std::string_view sConverter = {}) {
        return Handle<const CharacterSet>(new CharacterSet(eKind, ZQWString(sLabel), sConverter));
    };
    if (sName == "utf-8") return fMake(EKind::kUtf8);
    if (sName == "unicode") return fMake(EKind::kUtf16LittleEndian);
    if (sName == "unicodefffe") return fMake(EKind::kUtf16BigEndian);
    const UConverterPtr pConverter = sName.empty() ? nullptr : openByName(sName.data());
    if (!pConverter || !isFitForHttp(pConverter.get()))
        ZQTHROW_prethrowProcessException(UnknownCharset(sLabel), true, ZQ_WFILE, __LINE__);
    if (ucnv_getType(pConverter.get()) == UCNV_UTF8) return fMake(EKind::kUtf8);
    UErrorCode eError = U_ZERO_ERROR;
    return fMake(EKind::kIcu, ucnv_getName(pConverter.get(), &eError));
}

CharacterSet::UnknownCharset::UnknownCharset(std::wstring_view sLabel)
    : ClonedException(GDString(L"The character set \"%1\" is not known.")) {
    setMsgInsert(1, GDString(ZQWString(sLabel)));
}
