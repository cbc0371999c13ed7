#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "http/requesthead.h"

namespace webcontainer {

/// Reads field lines up to the empty line that ends them (RFC 9112 section 5), of a head or of trailers.
/// Looks at every byte once, in whatever pieces they come, and refuses at the first one that is out of place:
/// line ends are CRLF, names are tokens with the colon right behind, values are on one line and hold no
/// control bytes.
class FieldScanner {
public:
    explicit FieldScanner(unsigned nMaxFields) noexcept : m_nFieldsLeft(nMaxFields) {}

    /// Raises p up to pEnd, or behind the empty line for kDone.
    Parsed scan(const char*& p, const char* pEnd) { return scan(p, pEnd, nullptr, nullptr); }
    /// The same, and appends every field whose line has ended to *pFields. Stretches count from pBegin; from
    /// there on, the bytes of earlier calls must still be there.
    Parsed scan(const char*& p, const char* pEnd, const char* pBegin, std::vector<HeaderField>* pFields);

private:
    enum class EState : std::uint8_t { kFirstLine, kLine, kName, kValue, kLineEnd, kEnd };

    Parsed step(const char*& p, const char* pEnd) noexcept;
    Parsed beginLine(const char*& p) noexcept;
    Parsed scanName(const char*& p, const char* pEnd) noexcept;
    Parsed scanValue(const char*& p, const char* pEnd) noexcept;
    HeaderField readLine(const char* pBegin, const char* pLineEnd) const noexcept;

    EState m_eState = EState::kFirstLine;
    unsigned m_nFieldsLeft;
    std::size_t m_nName = 0;   ///< bytes of the line's name that have come
    std::size_t m_nValue = 0;  ///< of its value, with the white space around it
};

}  // namespace webcontainer
