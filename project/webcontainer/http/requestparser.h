#pragma once

#include <cstddef>

#include "base/limits.h"
#include "http/chunkdecoder.h"
#include "http/headscanner.h"
#include "http/requesthead.h"

namespace webcontainer {

/// Parses one request after the other out of bytes that somebody else holds: the head into a RequestHead, a
/// chunked body (RFC 9112 section 7.1) into its plain bytes. Needs no input of its own and does no I/O.
///
///     reset() -> putHead() until kDone -> for a chunked body: putChunked() until kDone
///
/// Consumes all bytes as they come, and says the same of them in any division. A head passes three gates: its
/// grammar byte by byte as it comes, the library's parser when it is complete, and the rules of headrules.h.
class RequestParser {
public:
    /// rLimits must outlive the parser.
    explicit RequestParser(const Limits& rLimits) noexcept;

    /// Forgets everything; the next bytes start a head.
    void reset() noexcept;
    /// Parses head bytes: pBegin is the head's first byte, rnFrom how many bytes of it are consumed already
    /// (raised by this call), nEnd how many there are. Method, target and version stand in rHead as soon as
    /// the request line has come, all the rest for kDone.
    EParsed putHead(const char* pBegin, std::size_t& rnFrom, std::size_t nEnd, RequestHead& rHead);
    /// Parses bytes of a chunked body from p to pEnd and moves the plain bytes among them to pTo, which may
    /// lie before p in the same storage. Raises p and pTo. kDone: the trailers, which are dropped, have ended
    /// too.
    EParsed putChunked(const char*& p, const char* pEnd, char*& pTo) noexcept;
    /// After kRefused.
    const Refusal& getRefusal() const noexcept { return m_tRefusal; }

private:
    EParsed refuse(const Refusal& rRefusal) noexcept;

    const Limits* m_pLimits;
    HeadScanner m_tHead;
    ChunkDecoder m_tChunks;
    Refusal m_tRefusal;
};

}  // namespace webcontainer
