#pragma once

#include <cstddef>
#include <memory>

#include "containerlimits.h"
#include "requesthead.h"

namespace webcontainer {

/// Parses one request after the other out of bytes that somebody else holds: the head into a RequestHead, a
/// chunked body (RFC 9112 section 7.1) into its plain bytes. Needs no input of its own and does no I/O.
///
///     reset() -> putHead() until kDone -> for a chunked body: putChunked() until kDone
///
/// Takes the same bytes in any division; what it did not consume is to be offered again with more behind it.
class RequestParser {
public:
    enum class EResult { kNeedMore, kDone, kRefused };

    /// rLimits must outlive the parser.
    explicit RequestParser(const Limits& rLimits);
    RequestParser(RequestParser&&) noexcept;
    RequestParser& operator=(RequestParser&&) noexcept;
    ~RequestParser();

    /// Forgets everything; the next bytes start a head. Must come before the first head too.
    void reset();
    /// Parses head bytes: pBegin is the head's first byte, rnFrom how many bytes of it are consumed already
    /// (raised by this call), nEnd how many there are.
    EResult putHead(const char* pBegin, std::size_t& rnFrom, std::size_t nEnd, RequestHead& rHead);
    /// Parses bytes of a chunked body from p to pEnd and moves the plain bytes among them to pTo, which may
    /// lie before p in the same storage. Raises p and pTo. kDone: the trailers (RFC 9112 section 7.1.2, which
    /// are dropped) have ended too.
    EResult putChunked(const char*& p, const char* pEnd, char*& pTo);
    /// After kRefused.
    const Refusal& getRefusal() const noexcept { return m_tRefusal; }

private:
    struct Impl;
    EResult checkResult(int nError, bool bFailed);
    EResult refuse(const Refusal& rRefusal);

    const Limits* m_pLimits;
    std::unique_ptr<Impl> m_pImpl;
    Refusal m_tRefusal;
};

}  // namespace webcontainer
