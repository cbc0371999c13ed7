#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "base/limits.h"
#include "http/chunkdecoder.h"
#include "http/headscanner.h"
#include "http/requesthead.h"

namespace webcontainer {

/// The bytes that a connection has received, as one request after the other.
///
///     storage   | done | head | handed out | plain body | gap | not parsed yet | room() |
///                      ^ nBegin ^ nHeadEnd   ^ nBody      ^ nBodyEnd ^ nRaw       ^ nEnd
///
/// A chunked body is decoded in place, which leaves the gap. A worker has one input for all the connections
/// that it serves; when a request is incomplete, what has come of it moves to an input of its connection's
/// own.
class RequestInput {
public:
    /// rLimits must outlive the input. nCapacity: bytes of storage to begin with.
    RequestInput(const Limits& rLimits, std::size_t nCapacity);
    /// Storage that suffices for whatever the limits allow.
    static std::size_t fullCapacity(const Limits& rLimits) noexcept;

    /// Where the next bytes go; never empty. Moves and enlarges the storage when it must.
    std::span<char> room();
    void commit(std::size_t nReceived) noexcept { m_t.nEnd += nReceived; }
    /// From now on getRaw() knows chunked bodies too.
    void keepChunks() noexcept { m_bKeepsChunks = true; }
    /// What has been received of the request before it ran, as it came; of a chunked body only if that was
    /// kept.
    std::string getRaw() const;
    /// Parses what has been received. kDone: the head is complete, and of the body what is to be there before
    /// the request runs; it is called again only to go on with the body. After kRefused nothing more can be
    /// read from the connection.
    Parsed advance();

    /// Nothing has been received of a next request, not even an empty line before it.
    bool isEmpty() const noexcept { return m_t.nBegin == m_t.nEnd && m_nEmptyLines == 0; }
    bool isHeadComplete() const noexcept { return m_bHeadComplete; }
    /// Takes what has been received into a new input with little more storage than it needs; this one is
    /// empty afterwards and keeps its storage.
    std::unique_ptr<RequestInput> detach();
    /// Drops everything, for another connection.
    void clear();
    /// To be called before the request runs: from now on its head does not move.
    void settle();
    /// Forgets the request, whose body must have been received, and goes on with what follows it.
    void next();

    const RequestHead& getHead() const noexcept { return m_tHead; }
    /// The bytes of a stretch of the head, valid until room() unless settled. A NUL follows method and query.
    std::string_view text(const Stretch& r) const noexcept { return {head() + r.nFrom, r.nLength}; }
    /// Of the target; "/" when an absolute form has none.
    std::string_view getPath() const noexcept {
        return m_tHead.tPath.nFrom == RequestHead::knNowhere ? std::string_view("/") : text(m_tHead.tPath);
    }
    char* data(const Stretch& r) noexcept { return m_pData.get() + m_t.nBegin + r.nFrom; }

    /// To be asked when advance() needs more. True: the client sends nothing of its body before it is told to
    /// go on (RFC 9110 section 10.1.1); no further time, because from then on it is as any other.
    bool takeExpectation() noexcept;
    /// Moves at most nSize body bytes that have been received to pBuffer.
    std::size_t takeBody(void* pBuffer, std::size_t nSize) noexcept;
    /// Drops the body bytes that have been received.
    void dropBody() noexcept { m_t.nBody = m_t.nBodyEnd; }
    /// How much of the body has come, in bytes as they came.
    std::size_t countBodyReceived() const noexcept { return m_t.nEnd - m_t.nHeadEnd; }
    /// Whether all of the body has been received.
    bool isBodyReceived() const noexcept { return m_bBodyReceived; }
    /// How many bytes of the body have been received, without framing.
    std::uint64_t getBodyReceived() const noexcept;
    /// The bytes of a declared body that have not been received. Whoever reads them past this input counts
    /// them.
    std::size_t getUnreceived() const noexcept { return m_nUnreceived; }
    void countPastInput(std::size_t nReceived) noexcept;

private:
    /// Positions in the storage, rising in this order.
    struct Marks {
        std::size_t nBegin = 0;
        std::size_t nHeadEnd = 0;  ///< while the head is incomplete: how far it has been parsed
        std::size_t nBody = 0;
        std::size_t nBodyEnd = 0;
        std::size_t nRaw = 0;
        std::size_t nEnd = 0;
    };

    static constexpr std::size_t s_knLeastRoom = 1024;

    const char* head() const noexcept { return m_pData.get() + m_t.nBegin; }
    void closeGaps() noexcept;
    void grow(std::size_t nCapacity);
    void moveDown(std::size_t nFrom, std::size_t nTo, std::size_t nLength) noexcept;
    void startOver(std::size_t nBegin, std::size_t nEnd);
    void startAt(std::size_t nBegin, std::size_t nEnd) noexcept;
    void skipEmptyLines() noexcept;
    Parsed advanceHead();
    void beginBody() noexcept;
    Parsed advanceBody();
    bool isReady() const noexcept;

    const Limits* m_pLimits;
    std::size_t m_nCapacity;
    std::unique_ptr<char[]> m_pData;
    Marks m_t;
    HeadScanner m_tScanner;
    ChunkDecoder m_tChunks;
    RequestHead m_tHead;
    std::size_t m_nUnreceived = 0;
    std::uint64_t m_nUnchunked = 0;  ///< bytes of a chunked body that have been decoded
    std::string m_sChunks;           ///< as they came, if they are kept
    std::size_t m_nEmptyLines = 0;   ///< before the request
    bool m_bHeadComplete = false;
    bool m_bBodyReceived = false;
    bool m_bKeepsChunks = false;
};

}  // namespace webcontainer
