#pragma once

#include <cstddef>
#include <map>
#include <memory>

#include "zq/foundation/inputstream.h"
#include "zq/foundation/zqstring.h"
#include "zq/httpstream/multipartlimits.h"

/// The headers of a part: name to value, as bytes; names are ordered and looked up exactly as they stand.
using HeadersN = std::map<ZQNarrowString, ZQNarrowString>;

class MultipartScanner;

/// Takes a multipart body (RFC 2046 section 5.1, RFC 7578) apart while it comes in.
///
///     nextPart() -> headers of the first part     readPart() ... until 0
///     nextPart() -> headers of the second part    readPart() ... or not: what is left is skipped
///     nextPart() -> knNoPart, now and ever after
///
/// Memory is one fixed buffer, whatever the body; time is linear in the body, whatever the boundary and
/// however the input is cut into pieces. The input is read ahead of the part by up to 256 KiB and never again
/// after it has said that it ended. One thread uses a reader.
///
/// What it takes besides what the grammar says:
/// - text before the first delimiter and after the closing one
/// - up to 256 bytes of white space after a boundary
/// - a body that ends its lines in LF alone throughout
/// - a delimiter that ends the headers, without the empty line
/// - two delimiters with nothing between them, which make no part
/// - the end of the body right behind a delimiter that is not the closing one: there is no further part.
///
/// The line of the first delimiter decides how a body ends its lines, so that nobody gets parts past an
/// inspector that insists on CRLF. When that line ends in CRLF, what looks like a delimiter but has LF alone
/// before it or behind it is content, and a header line that ends in LF alone, the empty one too, is
/// MultipartMixedLineEnds. When it ends in LF, a CR before a delimiter is content, and a header or delimiter
/// line that ends in CRLF is that error. So is a first delimiter that has LF before it and CRLF behind it.
///
/// A delimiter is a whole line: boundary "ab" does not end at the line "--abc", so that a nested multipart
/// may use a longer boundary with the same beginning. Content is delivered as it came, whatever a
/// Content-Transfer-Encoding says (RFC 7578 section 4.7 deprecates it).
///
/// A part is a file when its Content-Disposition has a filename, be it an empty one, and a field otherwise.
/// Fields may have a limit, as readers of fields keep them in memory; files have none.
///
/// Errors are MultipartErrors. A body that ends inside a part, in its headers or content, raises
/// MultipartEndedInsidePart: the caller never gets 0, the end of a part, for a part that was cut off.
/// Exceptions of the input pass unchanged. After an exception the same operation goes on from where it was,
/// so an error in the body is raised again.
class ZQ_EXPORT MultipartReader : public RefCounted {
public:
    /// What nextPart() returns when there is no further part: all bits set.
    static constexpr std::size_t knNoPart = static_cast<std::size_t>(-1);

    /// Keeps a reference to the input and reads nothing yet. The boundary is the attribute of that name, with
    /// the low byte of each character; nextPart() says whether it can be used.
    MultipartReader(const Handle<InputStream>& hInput, const ZQWString& sBoundary,
                    const MultipartLimits::Values& rLimits = MultipartLimits::get());
    ~MultipartReader() override;

    // The order of the virtual operations is part of the contract with extensions built separately.

    /// Goes to the next part and returns its index, from 0, or knNoPart. rHeaders then holds its headers and
    /// nothing else: folded lines joined, white space around names and values removed, no decoding.
    /// "Content-Disposition" and "Content-Type" get this letter case, other names keep the client's. Of a
    /// repeated header the first one counts: what follows cannot change what was said. A line without a colon
    /// is ignored. Raises MultipartBoundaryUnusable or MultipartBoundaryTooLong before it reads anything.
    virtual std::size_t nextPart(HeadersN& rHeaders);
    /// Copies at most nSize bytes of the current part's content and returns how many. 0: the part has ended,
    /// or there is none, or nSize is 0. Returns what is at hand, and waits for input only when that is
    /// nothing. A buffer of 16 KiB or more gets most of a long part from the input without a copy in between.
    /// Raises MultipartFieldBytesExceeded where a field goes beyond its limit.
    virtual std::size_t readPart(void* pBuffer, std::size_t nSize);

private:
    /// Lifts the limit off a part that is a file; throws for any other.
    void requireFile();

    const MultipartLimits::Values m_tLimits;
    ZQNarrowString m_sDisposition;  ///< of the current part, so that only those that are long need be parsed
    std::size_t m_nUntilLimit = 0;  ///< bytes of the current part that may be read before that is done
    std::unique_ptr<MultipartScanner> m_pScanner;
};
