#pragma once

#include <cstddef>

#include "zq/foundation/exception.h"

/// A multipart body that cannot be read, or that asks for more than MultipartLimits allow. Each reason is a
/// class of its own below; parts are counted from 1 in their messages.
class ZQ_EXPORT MultipartError : public ClonedException<MultipartError> {
public:
protected:
    explicit MultipartError(const GDValue& rMessage);
};

/// The body ended before a delimiter had ended the part: what was read of it is not the whole.
class ZQ_EXPORT MultipartEndedInsidePart : public ClonedException<MultipartEndedInsidePart, MultipartError> {
public:
    explicit MultipartEndedInsidePart(std::size_t nPart);
};

/// Lines of the body itself end in CRLF here and in LF alone there, so that readers who insist on CRLF and
/// readers who do not would find different parts in it. MultipartReader says which lines those are.
class ZQ_EXPORT MultipartMixedLineEnds : public ClonedException<MultipartMixedLineEnds, MultipartError> {
public:
    MultipartMixedLineEnds();
};

/// The header lines of a part are longer than allowed.
class ZQ_EXPORT MultipartHeaderBytesExceeded
    : public ClonedException<MultipartHeaderBytesExceeded, MultipartError> {
public:
    MultipartHeaderBytesExceeded(std::size_t nPart, std::size_t nMostBytes);
};

/// A part has more header fields than allowed.
class ZQ_EXPORT MultipartHeaderCountExceeded
    : public ClonedException<MultipartHeaderCountExceeded, MultipartError> {
public:
    MultipartHeaderCountExceeded(std::size_t nPart, std::size_t nMostHeaders);
};

/// The body has more parts than allowed.
class ZQ_EXPORT MultipartPartCountExceeded
    : public ClonedException<MultipartPartCountExceeded, MultipartError> {
public:
    explicit MultipartPartCountExceeded(std::size_t nMostParts);
};

/// A part that is no file has more content than allowed.
class ZQ_EXPORT MultipartFieldBytesExceeded
    : public ClonedException<MultipartFieldBytesExceeded, MultipartError> {
public:
    MultipartFieldBytesExceeded(std::size_t nPart, std::size_t nMostBytes);
};

/// There is no boundary, as in a request without a Content-Type, or it has a line end in it.
class ZQ_EXPORT MultipartBoundaryUnusable
    : public ClonedException<MultipartBoundaryUnusable, MultipartError> {
public:
    MultipartBoundaryUnusable();
};

/// The boundary is longer than MultipartLimits::s_knMostBoundaryLength.
class ZQ_EXPORT MultipartBoundaryTooLong : public ClonedException<MultipartBoundaryTooLong, MultipartError> {
public:
    explicit MultipartBoundaryTooLong(std::size_t nLength);
};
