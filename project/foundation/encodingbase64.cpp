#include "zq/foundation/encodingbase64.h"

namespace {

constexpr char s_kpAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

template <class CharT>
CharT* putGroup(CharT* pTo, const std::uint8_t* pGroup) noexcept {
    const unsigned n = (unsigned{pGroup[0]} << 16) | (unsigned{pGroup[1]} << 8) | pGroup[2];
    for (unsigned nShift : {18u, 12u, 6u, 0u})
        *pTo++ = static_cast<CharT>(s_kpAlphabet[(n >> nShift) & 0x3F]);
    return pTo;
}

}  // namespace

template <class CharT, int nVariant>
void B2TEncodingBase64<CharT, nVariant>::update(State& rState, StringBufferBaseTemplate<CharT>& rBuffer,
                                                std::string_view s) const {
    CharT* const pStart = rBuffer.getAppendBuffer((s.size() / 3 + 1) * 4);
    CharT* pTo = pStart;
    for (char c : s) {
        rState.m_tGroup[rState.m_nInGroup++] = static_cast<std::uint8_t>(c);
        if (rState.m_nInGroup == 3) {
            pTo = putGroup(pTo, rState.m_tGroup.data());
            rState.m_nInGroup = 0;
        }
    }
    rBuffer.commitAppendBuffer(static_cast<std::size_t>(pTo - pStart));
}

template <class CharT, int nVariant>
void B2TEncodingBase64<CharT, nVariant>::finalize(State& rState,
                                                  StringBufferBaseTemplate<CharT>& rBuffer) const {
    const std::size_t nRest = rState.m_nInGroup;
    if (nRest == 0) return;
    for (std::size_t n = nRest; n < 3; ++n)
        rState.m_tGroup[n] = 0;
    CharT tText[4];
    putGroup(tText, rState.m_tGroup.data());
    rBuffer.append(tText, nRest + 1);
    if (m_eFill == EBase64Fill::kPad)
        for (std::size_t n = nRest; n < 3; ++n)
            rBuffer.append(static_cast<CharT>('='));
    rState.m_nInGroup = 0;
}

template class B2TEncodingBase64<char, 0>;
template class B2TEncodingBase64<wchar_t, 0>;
