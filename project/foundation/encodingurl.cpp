#include "zq/foundation/encodingurl.h"

#include "zq/foundation/encodingutf8.h"

namespace {

constexpr std::string_view s_ksUnreservedMarks = "-._~";
constexpr std::string_view s_ksReserved = ":/?#[]@!$&'()*+,;=";

bool isUnescaped(wchar_t c, EUrlEncoding eReserved) noexcept {
    if ((c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9')) return true;
    if (c <= 0 || c >= 0x7F) return false;
    const char cNarrow = static_cast<char>(c);
    if (s_ksUnreservedMarks.find(cNarrow) != std::string_view::npos) return true;
    return eReserved == EUrlEncoding::kNotEncodeReservedChars &&
           s_ksReserved.find(cNarrow) != std::string_view::npos;
}

}  // namespace

template <class CharT>
void W2TEncodingURL<CharT>::encode(StringBufferBaseTemplate<CharT>& rBuffer, std::wstring_view s) const {
    constexpr char kpHex[] = "0123456789ABCDEF";
    StringBufferTemplate<7, char> tOctets;
    for (const wchar_t& c : s) {
        if (isUnescaped(c, m_eReserved)) {
            rBuffer.append(static_cast<CharT>(c));
            continue;
        }
        tOctets.clear();
        W2NEncodingUTF8().encode(tOctets, {&c, 1});
        for (char cOctet : tOctets.view()) {
            const auto n = static_cast<unsigned char>(cOctet);
            const CharT tEscape[] = {'%', static_cast<CharT>(kpHex[n >> 4]),
                                     static_cast<CharT>(kpHex[n & 15])};
            rBuffer.append(tEscape, 3);
        }
    }
}

template class W2TEncodingURL<char>;
