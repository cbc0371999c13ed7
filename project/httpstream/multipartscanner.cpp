#include "multipartscanner.h"

#include <algorithm>

#include "zq/httpstream/multiparterrors.h"
#include "zq/httpstream/multipartlimits.h"

// Headers that may be as long as allowed, and the delimiter that may follow, fit into the window.
static_assert(MultipartLimits::s_knMostHeaderBytes + MultipartLimits::s_knMostBoundaryLength +
                  MultipartDelimiter::s_knMostPadding + 16 <
              InputWindow::s_knCapacity);

MultipartScanner::MultipartScanner(const Handle<InputStream>& hInput, std::string_view sBoundary)
    : m_tDelimiter(sBoundary),
      m_tWindow(hInput, "\r\n") {}

bool MultipartScanner::advance() {
    if (m_ePlace == EPlace::kPreamble) requireBoundary();
    while (const std::size_t nContent = getContent().size())
        dropContent(nContent);
    while (m_ePlace == EPlace::kDelimiter)
        passDelimiter();
    return m_ePlace == EPlace::kHeaders;
}

void MultipartScanner::requireBoundary() const {
    const std::string_view sBoundary = m_tDelimiter.getBoundary();
    if (sBoundary.empty() || sBoundary.find_first_of("\r\n") != sBoundary.npos)
        ZQTHROW_prethrowProcessException(MultipartBoundaryUnusable(), true, ZQ_WFILE, __LINE__);
    if (sBoundary.size() > MultipartLimits::s_knMostBoundaryLength)
        ZQTHROW_prethrowProcessException(MultipartBoundaryTooLong(sBoundary.size()), true, ZQ_WFILE,
                                         __LINE__);
}

void MultipartScanner::passDelimiter() {
    m_tWindow.drop(m_nDelimiter);
    m_nDelimiter = 0;
    const MultipartDelimiter::Match tNext = matchAt(0);
    if (tNext.isDelimiter())
        setMatch(tNext);
    else  // beyond the line there is a part, if there is anything
        m_ePlace = m_tWindow.view().size() > lineEndSize() ? EPlace::kHeaders : EPlace::kEnd;
}

std::string_view MultipartScanner::readHeaderBlock(std::size_t nMost) {
    const std::size_t nStart = lineEndSize();
    std::size_t nLine = nStart;
    for (m_nHeaders = 0; m_nHeaders == 0;) {
        const std::size_t nNext = readLine(nLine, nStart + nMost);
        if (nNext - nLine == lineEndSize()) {
            m_nHeaders = nLine;
        } else {
            nLine = nNext;
            if (matchAt(nLine - lineEndSize()).isDelimiter()) m_nHeaders = nLine - lineEndSize();
        }
    }
    return m_tWindow.view().substr(nStart, nLine - nStart);
}

void MultipartScanner::endHeaders() noexcept {
    m_tWindow.drop(m_nHeaders);
    m_ePlace = EPlace::kContentStart;
    ++m_nParts;
}

std::string_view MultipartScanner::getContent() {
    while (m_nContent == 0 && (m_ePlace == EPlace::kPreamble || isInPart()))
        scan();
    return m_tWindow.view().substr(0, m_nContent);
}

void MultipartScanner::dropContent(std::size_t nCount) noexcept {
    m_tWindow.drop(nCount);
    m_nContent -= nCount;
}

std::size_t MultipartScanner::readContent(char* pBuffer, std::size_t nSize) {
    constexpr std::size_t knLeastPast = 16384;  // what costs more to copy than to ask for once more
    if (m_ePlace == EPlace::kContent && m_tWindow.view().empty() && nSize >= knLeastPast)
        if (const std::size_t nCount = readPastWindow(pBuffer, nSize); nCount != 0) return nCount;
    const std::size_t nCount = getContent().copy(pBuffer, nSize);
    dropContent(nCount);
    return nCount;
}

/// Reads without the detour through the window, which only gets what may be a delimiter, and what follows it.
std::size_t MultipartScanner::readPastWindow(char* pBuffer, std::size_t nSize) {
    const std::string_view s(pBuffer,
                             m_tWindow.readPast(pBuffer, std::min(nSize, InputWindow::s_knCapacity)));
    const std::size_t nCount = std::min(m_tDelimiter.find(s), s.size() - m_tDelimiter.countHeldBack(s));
    m_tWindow.show(s.substr(nCount));
    return nCount;
}

void MultipartScanner::scan() {
    if (m_ePlace == EPlace::kContentStart) return scanContentStart();
    const std::string_view s = m_tWindow.view();
    std::string_view sRest = s;
    for (std::size_t n; (n = m_tDelimiter.find(sRest)) != MultipartDelimiter::s_npos;) {
        sRest.remove_prefix(n);
        m_nContent = s.size() - sRest.size();
        if (m_nContent == 0) return setMatch(matchAt(0));
        const MultipartDelimiter::Match tMatch = m_tDelimiter.match(sRest, m_tWindow.hasEnded());
        if (tMatch.eMatch != MultipartDelimiter::EMatch::kNone) return;
        sRest.remove_prefix(tMatch.nLength);
    }
    m_nContent = s.size() - m_tDelimiter.countHeldBack(sRest);
    if (m_nContent != 0 || m_tWindow.readMore()) return;
    if (isInPart()) throwEndedInsidePart(m_nParts);
    m_ePlace = EPlace::kEnd;
}

void MultipartScanner::scanContentStart() {
    const MultipartDelimiter::Match tMatch = matchAt(0);
    if (tMatch.isDelimiter()) return setMatch(tMatch);
    m_tWindow.drop(lineEndSize());
    m_ePlace = EPlace::kContent;
}

void MultipartScanner::setMatch(const MultipartDelimiter::Match& rMatch) noexcept {
    if (!rMatch.isDelimiter()) {
        m_nContent = rMatch.nLength;
        return;
    }
    m_nDelimiter = rMatch.nLength;
    m_tDelimiter.setLineEnd(rMatch.sLineEnd);
    m_ePlace = rMatch.eMatch == MultipartDelimiter::EMatch::kClosing ? EPlace::kEnd : EPlace::kDelimiter;
}

MultipartDelimiter::Match MultipartScanner::matchAt(std::size_t nOffset) {
    for (;;) {
        const auto tMatch = m_tDelimiter.match(m_tWindow.view().substr(nOffset), m_tWindow.hasEnded());
        if (tMatch.eMatch == MultipartDelimiter::EMatch::kMixed) throwMixedLineEnds();
        if (tMatch.eMatch != MultipartDelimiter::EMatch::kNeedMore) return tMatch;
        m_tWindow.readMore();
    }
}

std::size_t MultipartScanner::readLine(std::size_t nFrom, std::size_t nMostEnd) {
    for (std::size_t nSearched = nFrom;;) {
        const std::string_view s = m_tWindow.view();
        const std::size_t nLineFeed = s.find('\n', nSearched);
        if (std::min(nLineFeed, s.size()) >= nMostEnd)
            ZQTHROW_prethrowProcessException(
                MultipartHeaderBytesExceeded(m_nParts + 1, nMostEnd - lineEndSize()), true, ZQ_WFILE,
                __LINE__);
        if (nLineFeed != s.npos) {
            const bool bCrLf = s.substr(nFrom, nLineFeed - nFrom).ends_with('\r');
            if (bCrLf != (m_tDelimiter.getLineEnd() == "\r\n")) throwMixedLineEnds();
            return nLineFeed + 1;
        }
        nSearched = s.size();
        if (!m_tWindow.readMore()) throwEndedInsidePart(m_nParts + 1);
    }
}

void MultipartScanner::throwEndedInsidePart(std::size_t nPart) const {
    ZQTHROW_prethrowProcessException(MultipartEndedInsidePart(nPart), true, ZQ_WFILE, __LINE__);
}

void MultipartScanner::throwMixedLineEnds() const {
    ZQTHROW_prethrowProcessException(MultipartMixedLineEnds(), true, ZQ_WFILE, __LINE__);
}
