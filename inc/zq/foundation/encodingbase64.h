#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "zq/foundation/stringbuffer.h"

/// How base64 text ends when the input is no multiple of three bytes.
enum class EBase64Fill {
    kPad,    ///< filled up with "=", as RFC 4648 section 4 and RFC 2047 have it
    kNoPad,  ///< cut short, as RFC 4648 section 3.2 allows
};

/// Bytes to base64 (RFC 4648 section 4) in one line, as text of CharT. The encoder has no state of its own:
/// a State in the caller's hands carries the incomplete group from one update() to the next.
template <class CharT, int = 0>
class ZQ_EXPORT B2TEncodingBase64 {
public:
    static constexpr EBase64Fill kPad = EBase64Fill::kPad;
    static constexpr EBase64Fill kNoPad = EBase64Fill::kNoPad;

    /// What remains between two pieces of one text.
    class State {
        friend class B2TEncodingBase64;
        std::array<std::uint8_t, 3> m_tGroup{};
        std::size_t m_nInGroup = 0;
    };

    explicit B2TEncodingBase64(EBase64Fill eFill = EBase64Fill::kPad) noexcept : m_eFill(eFill) {}

    /// Appends the text of every group that s completes.
    void update(State& rState, StringBufferBaseTemplate<CharT>& rBuffer, std::string_view s) const;
    /// Appends what the last, incomplete group gives; rState is as new afterwards.
    void finalize(State& rState, StringBufferBaseTemplate<CharT>& rBuffer) const;

private:
    EBase64Fill m_eFill;
};

extern template class B2TEncodingBase64<char, 0>;
extern template class B2TEncodingBase64<wchar_t, 0>;

using B2NEncodingBase64 = B2TEncodingBase64<char, 0>;
using B2WEncodingBase64 = B2TEncodingBase64<wchar_t, 0>;
