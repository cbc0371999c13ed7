#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

/// What a target is given, in a form that people can write: a line of numbers, then a text.
///
///     50:2
///     GET / HTTP/1.1
///
/// Each character of the line is a number, its distance from '0', and what is missing counts as 0. Refers
/// to the bytes that it was made of.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* pData, std::size_t nSize) noexcept
        : m_sText(reinterpret_cast<const char*>(pData), nSize),
          m_sNumbers(takeLine()) {}

    bool hasNumber() const noexcept { return !m_sNumbers.empty(); }
    /// The next number, at most nMost, which is at most 255.
    std::size_t takeNumber(std::size_t nMost) noexcept {
        if (m_sNumbers.empty()) return 0;
        const auto n = static_cast<unsigned char>(m_sNumbers.front() - '0');
        m_sNumbers.remove_prefix(1);
        return n % (nMost + 1);
    }
    /// Some lengths of at least 1.
    std::vector<std::size_t> takeSizes(std::size_t nCount, std::size_t nMost) {
        std::vector<std::size_t> tSizes;
        while (tSizes.size() < nCount)
            tSizes.push_back(1 + takeNumber(nMost - 1));
        return tSizes;
    }
    /// The text up to the next line feed, which is dropped.
    std::string_view takeLine() noexcept {
        const std::string_view sLine = m_sText.substr(0, m_sText.find('\n'));
        m_sText.remove_prefix(std::min(sLine.size() + 1, m_sText.size()));
        return sLine;
    }
    /// So many bytes of the text, or what is left.
    std::string_view takeText(std::size_t nSize) noexcept {
        const std::string_view s = m_sText.substr(0, nSize);
        m_sText.remove_prefix(s.size());
        return s;
    }
    /// What is left of the text.
    std::string_view getText() const noexcept { return m_sText; }

private:
    std::string_view m_sText;
    std::string_view m_sNumbers;
};

/// Ends the process, with what was expected, unless it holds.
inline void require(bool bHolds, std::string_view sExpected) {
    if (bHolds) return;
    std::fprintf(stderr, "fuzz: expected: %.*s\n", static_cast<int>(sExpected.size()), sExpected.data());
    std::abort();
}

}  // namespace fuzz
