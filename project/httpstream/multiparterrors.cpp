#include "zq/httpstream/multiparterrors.h"

#include "zq/httpstream/multipartlimits.h"

MultipartError::MultipartError(const GDValue& rMessage) : Exception(rMessage) {}

MultipartError* MultipartError::clone() const {
    return new MultipartError(*this);
}

MultipartEndedInsidePart::MultipartEndedInsidePart(std::size_t nPart)
    : MultipartError(GDString(L"The multipart body ended inside part %1.")) {
    setMsgInsert(1, GDUInteger(nPart));
}

MultipartEndedInsidePart* MultipartEndedInsidePart::clone() const {
    return new MultipartEndedInsidePart(*this);
}

MultipartMixedLineEnds::MultipartMixedLineEnds()
    : MultipartError(GDString(L"The multipart body ends some of its lines in CRLF and some in LF alone.")) {}

MultipartMixedLineEnds* MultipartMixedLineEnds::clone() const {
    return new MultipartMixedLineEnds(*this);
}

MultipartHeaderBytesExceeded::MultipartHeaderBytesExceeded(std::size_t nPart, std::size_t nMostBytes)
    : MultipartError(GDString(L"Part %1 of the multipart body has more than %2 bytes of headers.")) {
    setMsgInsert(1, GDUInteger(nPart));
    setMsgInsert(2, GDUInteger(nMostBytes));
}

MultipartHeaderBytesExceeded* MultipartHeaderBytesExceeded::clone() const {
    return new MultipartHeaderBytesExceeded(*this);
}

MultipartHeaderCountExceeded::MultipartHeaderCountExceeded(std::size_t nPart, std::size_t nMostHeaders)
    : MultipartError(GDString(L"Part %1 of the multipart body has more than %2 headers.")) {
    setMsgInsert(1, GDUInteger(nPart));
    setMsgInsert(2, GDUInteger(nMostHeaders));
}

MultipartHeaderCountExceeded* MultipartHeaderCountExceeded::clone() const {
    return new MultipartHeaderCountExceeded(*this);
}

MultipartPartCountExceeded::MultipartPartCountExceeded(std::size_t nMostParts)
    : MultipartError(GDString(L"The multipart body has more than %1 parts.")) {
    setMsgInsert(1, GDUInteger(nMostParts));
}

MultipartPartCountExceeded* MultipartPartCountExceeded::clone() const {
    return new MultipartPartCountExceeded(*this);
}

MultipartFieldBytesExceeded::MultipartFieldBytesExceeded(std::size_t nPart, std::size_t nMostBytes)
    : MultipartError(GDString(L"Part %1 of the multipart body is no file and has more than %2 bytes.")) {
    setMsgInsert(1, GDUInteger(nPart));
    setMsgInsert(2, GDUInteger(nMostBytes));
}

MultipartFieldBytesExceeded* MultipartFieldBytesExceeded::clone() const {
    return new MultipartFieldBytesExceeded(*this);
}

MultipartBoundaryUnusable::MultipartBoundaryUnusable()
    : MultipartError(GDString(L"The multipart boundary is missing or has a line end in it.")) {}

MultipartBoundaryUnusable* MultipartBoundaryUnusable::clone() const {
    return new MultipartBoundaryUnusable(*this);
}

MultipartBoundaryTooLong::MultipartBoundaryTooLong(std::size_t nLength)
    : MultipartError(GDString(L"The multipart boundary has %1 characters; at most %2 are allowed.")) {
    setMsgInsert(1, GDUInteger(nLength));
    setMsgInsert(2, GDUInteger(MultipartLimits::s_knMostBoundaryLength));
}

MultipartBoundaryTooLong* MultipartBoundaryTooLong::clone() const {
    return new MultipartBoundaryTooLong(*this);
}
