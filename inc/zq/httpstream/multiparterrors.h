#pragma once

#include <cstddef>

#include "zq/foundation/exception.h"

/// A multipart body that cannot be read, or that asks for more than MultipartLimits allow. Each reason is a
/// class of its own below; parts are counted from 1 in their messages.
class ZQ_EXPORT MultipartError : public Exception {
public:
    MultipartError* clone() const override;

protected:
    explicit MultipartError(const GDValue& rMessage);
};

/// The body ended before a delimiter had ended the part: what was read of it is not the whole.
class ZQ_EXPORT MultipartEndedInsidePart : public MultipartError {
public:
    explicit MultipartEndedInsidePart(std::size_t nPart);
    MultipartEndedInsidePart* clone() const override;
};

/// Lines of the body itself end in CRLF here and in LF alone there, so that readers who insist on CRLF and
/// readers who do not would find different parts in it. MultipartReader says which lines those are.
class ZQ_EXPORT MultipartMixedLineEnds : public MultipartError {
public:
    MultipartMixedLineEnds();
    MultipartMixedLineEnds* clone() const override;
};

/// The header lines of a part are longer than allowed.
class ZQ_EXPORT MultipartHeaderBytesExceeded : public MultipartError {
public:
    MultipartHeaderBytesExceeded(std::size_t nPart, std::size_t nMostBytes);
    MultipartHeaderBytesExceeded* clone() const override;
};

/// A part has more header fields than allowed.
class ZQ_EXPORT MultipartHeaderCountExceeded : public MultipartError {
public:
    MultipartHeaderCountExceeded(std::size_t nPart, std::size_t nMostHeaders);
    MultipartHeaderCountExceeded* clone() const override;
};

/// The body has more parts than allowed.
class ZQ_EXPORT MultipartPartCountExceeded : public MultipartError {
public:
    explicit MultipartPartCountExceeded(std::size_t nMostParts);
    MultipartPartCountExceeded* clone() const override;
};

/// A part that is no file has more content than allowed.
class ZQ_EXPORT MultipartFieldBytesExceeded : public MultipartError {
public:
    MultipartFieldBytesExceeded(std::size_t nPart, std::size_t nMostBytes);
    MultipartFieldBytesExceeded* clone() const override;
};

/// There is no boundary, as in a request without a Content-Type, or it has a line end in it.
class ZQ_EXPORT MultipartBoundaryUnusable : public MultipartError {
public:
    MultipartBoundaryUnusable();
    MultipartBoundaryUnusable* clone() const override;
};

/// The boundary is longer than MultipartLimits::s_knMostBoundaryLength.
class ZQ_EXPORT MultipartBoundaryTooLong : public MultipartError {
public:
    explicit MultipartBoundaryTooLong(std::size_t nLength);
    MultipartBoundaryTooLong* clone() const override;
};
