#pragma once

#include <algorithm>
#include <cstring>
#include <stdexcept>
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
/// that follow. Once it has said that it ended, it must not be asked again.
class PiecewiseInput final : public InputStream {
public:
    /// What the read of index nFailing throws instead of reading.
    struct Failure {};

    explicit PiecewiseInput(std::string_view sBytes, std::vector<std::size_t> tPieces = {knWhole},
                            std::size_t nFailing = knWhole)
        : m_sBytes(sBytes),
          m_tPieces(std::move(tPieces)),
          m_nFailing(nFailing) {}

private:
    std::size_t readBytesImpl(void* pBuffer, std::size_t nSize) override {
        const std::size_t nIndex = m_nReads++;
        if (nIndex == m_nFailing) throw Failure();
        if (std::exchange(m_bEnded, m_sBytes.empty())) throw std::logic_error("read after the end");
        const std::size_t nPiece = m_tPieces[std::min(nIndex, m_tPieces.size() - 1)];
        const std::size_t nCount = std::min({nSize, nPiece, m_sBytes.size()});
        std::memcpy(pBuffer, m_sBytes.data(), nCount);
        m_sBytes.remove_prefix(nCount);
        return nCount;
    }

    std::string_view m_sBytes;
    const std::vector<std::size_t> m_tPieces;
    const std::size_t m_nFailing;
    std::size_t m_nReads = 0;
    bool m_bEnded = false;
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

/// Does it once more when the input fails.
template <class F>
std::size_t withRetry(F fOperation) {
    try {
        return fOperation();
    } catch (const PiecewiseInput::Failure&) {
        return fOperation();
    }
}

/// Reads all parts, nReadSize bytes at a time, and goes on after one failure of the input.
inline MultipartOutcome readMultipart(const Handle<InputStream>& hInput, const ZQWString& sBoundary,
                                      std::size_t nReadSize = 512,
                                      const MultipartLimits::Values& rLimits = {}) {
    const QuietExceptions tQuiet;
    MultipartOutcome tOutcome;
    std::vector<char> tBuffer(nReadSize);
    MultipartReader tReader(hInput, sBoundary, rLimits);
    try {
        HeadersN tHeaders;
        while (withRetry([&] { return tReader.nextPart(tHeaders); }) != MultipartReader::knNoPart) {
            tOutcome.tHeaders.push_back(tHeaders);
            std::string& rsContent = tOutcome.tContents.emplace_back();
            while (const auto nRead = withRetry([&] { return tReader.readPart(tBuffer.data(), nReadSize); }))
                rsContent.append(tBuffer.data(), nRead);
        }
    } catch (const MultipartError& e) {
        tOutcome.sError = toUtf8(e.getMessageText());
    }
    return tOutcome;
}

}  // namespace test
