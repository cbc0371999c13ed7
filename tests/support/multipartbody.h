#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/asserttext.h"
#include "zq/httpstream/multiparterrors.h"
#include "zq/httpstream/multipartreader.h"

namespace test {

inline constexpr std::size_t knWhole = static_cast<std::size_t>(-1);

/// Delivers bytes, which must outlive it, in pieces of at most the given sizes; the last size serves for all
/// that follow.
class PiecewiseInput : public InputStream {
public:
    explicit PiecewiseInput(std::string_view sBytes, std::vector<std::size_t> tPieces = {knWhole})
        : m_sBytes(sBytes),
          m_tPieces(std::move(tPieces)) {}

protected:
    std::size_t readBytesImpl(void* pBuffer, std::size_t nSize) override {
        const std::size_t nPiece = m_tPieces[std::min(m_nReads++, m_tPieces.size() - 1)];
        const std::size_t nCount = std::min({nSize, nPiece, m_sBytes.size()});
        std::memcpy(pBuffer, m_sBytes.data(), nCount);
        m_sBytes.remove_prefix(nCount);
        return nCount;
    }

private:
    std::string_view m_sBytes;
    const std::vector<std::size_t> m_tPieces;
    std::size_t m_nReads = 0;
};

/// Keeps exceptions out of the log while it lives.
class QuietExceptions {
public:
    QuietExceptions() noexcept : m_pBefore(Exception::setPrethrowReporter(nullptr)) {}
    ~QuietExceptions() { Exception::setPrethrowReporter(m_pBefore); }
    QuietExceptions(const QuietExceptions&) = delete;
    QuietExceptions& operator=(const QuietExceptions&) = delete;

private:
    const Exception::PrethrowReporter m_pBefore;
};

/// What a reader made of a body. When sError is not empty, the last content may be incomplete.
struct MultipartOutcome {
    std::vector<HeadersN> tHeaders;
    std::vector<std::string> tContents;
    std::string sError;

    bool operator==(const MultipartOutcome&) const = default;
    /// "{name=value|name=value}content;{}content;!error"
    std::string describe() const {
        std::string sText;
        for (std::size_t n = 0; n < tHeaders.size(); ++n) {
            sText += '{';
            for (const auto& [sName, sValue] : tHeaders[n])
                sText.append(sText.ends_with('{') ? "" : "|").append(sName).append("=").append(sValue);
            sText += '}' + tContents[n] + ';';
        }
        return sError.empty() ? sText : sText + "!" + sError;
    }
};

/// Reads the current part to its end, nReadSize bytes at a time.
inline void readPart(MultipartReader& rReader, std::size_t nReadSize, std::string& rsContent) {
    std::vector<char> tBuffer(nReadSize);
    while (const std::size_t nRead = rReader.readPart(tBuffer.data(), nReadSize))
        rsContent.append(tBuffer.data(), nRead);
}

inline MultipartOutcome readMultipart(const Handle<InputStream>& hInput, const ZQWString& sBoundary,
                                      std::size_t nReadSize = 512,
                                      const MultipartLimits::Values& rLimits = {}) {
    const QuietExceptions tQuiet;
    MultipartOutcome tOutcome;
    MultipartReader tReader(hInput, sBoundary, rLimits);
    try {
        for (HeadersN tHeaders; tReader.nextPart(tHeaders) != MultipartReader::knNoPart;) {
            tOutcome.tHeaders.push_back(tHeaders);
            readPart(tReader, nReadSize, tOutcome.tContents.emplace_back());
        }
    } catch (const MultipartError& e) {
        tOutcome.sError = narrow(e.getMessageText());
    }
    return tOutcome;
}

}  // namespace test
