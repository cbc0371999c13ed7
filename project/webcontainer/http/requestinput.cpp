#include "http/requestinput.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "http/headrules.h"

namespace webcontainer {

RequestInput::RequestInput(const Limits& rLimits, std::size_t nCapacity)
    : m_pLimits(&rLimits),
      m_nCapacity(std::max(nCapacity, s_knLeastRoom)),
      m_pData(std::make_unique_for_overwrite<char[]>(m_nCapacity)),
      m_tScanner(rLimits),
      m_tChunks(rLimits) {}

std::size_t RequestInput::fullCapacity(const Limits& rLimits) noexcept {
    // A head, a body up to the bound, and room to receive; no byte of a body waits to be parsed.
    return std::size_t{rLimits.nMaxHeadBytes} + rLimits.nPrefetchBytes + 4 * s_knLeastRoom;
}

std::span<char> RequestInput::room() {
    if (m_nCapacity - m_t.nEnd < std::max(s_knLeastRoom, m_nCapacity / 4)) closeGaps();
    if (m_nCapacity - m_t.nEnd < s_knLeastRoom) grow(2 * m_nCapacity);
    return {m_pData.get() + m_t.nEnd, m_nCapacity - m_t.nEnd};
}

/// Moves down what is still needed: first over the body bytes already handed out and the gap, then over the
/// requests already served.
void RequestInput::closeGaps() noexcept {
    if (m_bHeadComplete) {
        const std::size_t nBody = m_t.nBodyEnd - m_t.nBody;
        moveDown(m_t.nBody, m_t.nHeadEnd, nBody);
        m_t.nBody = m_t.nHeadEnd;
        m_t.nBodyEnd = m_t.nBody + nBody;
        moveDown(m_t.nRaw, m_t.nBodyEnd, m_t.nEnd - m_t.nRaw);
        m_t.nEnd -= m_t.nRaw - m_t.nBodyEnd;
        m_t.nRaw = m_t.nBodyEnd;
    }
    const std::size_t nDown = m_t.nBegin;
    moveDown(nDown, 0, m_t.nEnd - nDown);
    for (std::size_t Marks::*pMark :
         {&Marks::nBegin, &Marks::nHeadEnd, &Marks::nBody, &Marks::nBodyEnd, &Marks::nRaw, &Marks::nEnd})
        m_t.*pMark -= nDown;
}

void RequestInput::moveDown(std::size_t nFrom, std::size_t nTo, std::size_t nLength) noexcept {
    if (nFrom != nTo) std::memmove(m_pData.get() + nTo, m_pData.get() + nFrom, nLength);
}

void RequestInput::grow(std::size_t nCapacity) {
    auto pData = std::make_unique_for_overwrite<char[]>(nCapacity);
    std::memcpy(pData.get(), m_pData.get(), m_t.nEnd);
    m_pData = std::move(pData);
    m_nCapacity = nCapacity;
}

void RequestInput::settle() {
    if (m_bBodyReceived) return;  // there will be no room() before next()
    closeGaps();
    if (m_nCapacity < fullCapacity(*m_pLimits)) grow(fullCapacity(*m_pLimits));
}

std::unique_ptr<RequestInput> RequestInput::detach() {
    closeGaps();
    auto pInput = std::make_unique<RequestInput>(*m_pLimits, m_t.nEnd + s_knLeastRoom);
    std::memcpy(pInput->m_pData.get(), m_pData.get(), m_t.nEnd);
    pInput->m_t = m_t;
    std::swap(pInput->m_tScanner, m_tScanner);
    std::swap(pInput->m_tChunks, m_tChunks);
    std::swap(pInput->m_tHead, m_tHead);
    pInput->m_nUnreceived = m_nUnreceived;
    pInput->m_nUnchunked = m_nUnchunked;
    pInput->m_bKeepsChunks = m_bKeepsChunks;
    pInput->m_sChunks.swap(m_sChunks);
    pInput->m_nEmptyLines = std::exchange(m_nEmptyLines, 0);
    pInput->m_bHeadComplete = std::exchange(m_bHeadComplete, false);
    pInput->m_bBodyReceived = std::exchange(m_bBodyReceived, false);
    m_t = Marks();
    return pInput;
}

void RequestInput::next() {
    startOver(m_t.nRaw, m_t.nEnd);
}

void RequestInput::clear() {
    startOver(0, 0);
}

void RequestInput::startOver(std::size_t nBegin, std::size_t nEnd) {
    startAt(nBegin, nEnd);
    m_tScanner = HeadScanner(*m_pLimits);
    m_tChunks = ChunkDecoder(*m_pLimits);
    m_tHead.clear();
    m_sChunks.clear();
    m_nEmptyLines = 0;
    m_bHeadComplete = false;
    m_bBodyReceived = false;
}

void RequestInput::startAt(std::size_t nBegin, std::size_t nEnd) noexcept {
    if (nBegin == nEnd) nBegin = nEnd = 0;
    m_t = {nBegin, nBegin, nBegin, nBegin, nBegin, nEnd};
}

Parsed RequestInput::advance() {
    return m_bHeadComplete ? advanceBody() : advanceHead();
}

/// Empty lines before a request are no part of it (RFC 9112 section 2.2).
void RequestInput::skipEmptyLines() noexcept {
    const char* const p = m_pData.get();
    std::size_t nBegin = m_t.nBegin;
    for (; m_t.nEnd - nBegin >= 2 && p[nBegin] == '\r' && p[nBegin + 1] == '\n'; nBegin += 2)
        ++m_nEmptyLines;
    startAt(nBegin, m_t.nEnd);
}

Parsed RequestInput::advanceHead() {
    if (m_t.nHeadEnd == m_t.nBegin) skipEmptyLines();
    if (m_nEmptyLines > m_pLimits->nMaxEmptyLines) return Refusal{400, "too many empty lines"};
    const std::size_t nReceived = m_t.nEnd - m_t.nBegin;
    if (nReceived == 0 || (nReceived == 1 && *head() == '\r')) return Parsed::kNeedMore;
    std::size_t nParsed = m_t.nHeadEnd - m_t.nBegin;
    const Parsed tParsed = m_tScanner.scan(head(), nParsed, nReceived, m_tHead);
    m_t.nHeadEnd = m_t.nBegin + nParsed;
    if (tParsed != Parsed::kDone) return tParsed;
    if (const Parsed tChecked = checkHead(head(), m_tHead); tChecked != Parsed::kDone) return tChecked;
    beginBody();
    return advanceBody();
}

void RequestInput::beginBody() noexcept {
    m_bHeadComplete = true;
    m_t.nBody = m_t.nBodyEnd = m_t.nRaw = m_t.nHeadEnd;
    m_nUnreceived = m_tHead.eFraming == EBodyFraming::kDeclared ? m_tHead.nContentLength : 0;
    m_nUnchunked = 0;
    m_bBodyReceived = m_tHead.eFraming == EBodyFraming::kNone;
    // Behind either stands the space that ended it.
    data(m_tHead.tMethod)[m_tHead.tMethod.nLength] = '\0';
    if (m_tHead.tQuery.nFrom != RequestHead::knNowhere) data(m_tHead.tQuery)[m_tHead.tQuery.nLength] = '\0';
}

Parsed RequestInput::advanceBody() {
    if (m_tHead.eFraming == EBodyFraming::kDeclared) {
        const std::size_t nNew = std::min(m_nUnreceived, m_t.nEnd - m_t.nRaw);
        m_t.nRaw = m_t.nBodyEnd += nNew;
        countPastInput(nNew);
    } else if (m_tHead.eFraming == EBodyFraming::kChunked && !m_bBodyReceived) {
        const char* pFrom = m_pData.get() + m_t.nRaw;
        char* pTo = m_pData.get() + m_t.nBodyEnd;
        // Before the request runs: what comes later is not refused but fails it.
        if (m_bKeepsChunks && m_nUnchunked <= m_pLimits->nPrefetchBytes)
            m_sChunks.append(pFrom, m_t.nEnd - m_t.nRaw);
        const Parsed tParsed = m_tChunks.decode(pFrom, m_pData.get() + m_t.nEnd, pTo);
        m_t.nRaw = static_cast<std::size_t>(pFrom - m_pData.get());
        m_nUnchunked += static_cast<std::size_t>(pTo - m_pData.get()) - m_t.nBodyEnd;
        m_t.nBodyEnd = static_cast<std::size_t>(pTo - m_pData.get());
        if (tParsed == Parsed::kRefused) return tParsed;
        m_bBodyReceived = tParsed == Parsed::kDone;
    }
    return isReady() ? Parsed::kDone : Parsed::kNeedMore;
}

void RequestInput::countPastInput(std::size_t nReceived) noexcept {
    m_nUnreceived -= nReceived;
    m_bBodyReceived = m_nUnreceived == 0;
}

std::uint64_t RequestInput::getBodyReceived() const noexcept {
    if (!m_bHeadComplete) return 0;
    return m_tHead.eFraming == EBodyFraming::kDeclared ? m_tHead.nContentLength - m_nUnreceived
                                                       : m_nUnchunked;
}

std::string RequestInput::getRaw() const {
    std::string sRaw;
    for (std::size_t n = 0; n < m_nEmptyLines; ++n)
        sRaw += "\r\n";
    if (!m_bHeadComplete) return sRaw.append(head(), m_t.nEnd - m_t.nBegin);
    sRaw.append(head(), m_t.nHeadEnd - m_t.nBegin);
    std::ranges::replace(sRaw, '\0', ' ');  // what beginBody() has put there; no head may have one
    if (m_tHead.eFraming == EBodyFraming::kChunked) return sRaw += m_sChunks;
    return sRaw.append(m_pData.get() + m_t.nBody, m_t.nBodyEnd - m_t.nBody);
}

bool RequestInput::isReady() const noexcept {
    return m_bBodyReceived || m_t.nBodyEnd - m_t.nBody > m_pLimits->nPrefetchBytes;
}

bool RequestInput::takeExpectation() noexcept {
    return std::exchange(m_tHead.bExpects100, false) && m_t.nEnd == m_t.nHeadEnd;
}

std::size_t RequestInput::takeBody(void* pBuffer, std::size_t nSize) noexcept {
    const std::size_t nTaken = std::min(nSize, m_t.nBodyEnd - m_t.nBody);
    if (nTaken != 0) std::memcpy(pBuffer, m_pData.get() + m_t.nBody, nTaken);
    m_t.nBody += nTaken;
    return nTaken;
}

}  // namespace webcontainer
