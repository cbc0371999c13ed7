#include "zq/httpstream/multiparterrors.h"

#include "zq/httpstream/multipartlimits.h"

MultipartError::MultipartError(const GDValue& rMessage) : ClonedException(rMessage) {}

MultipartEndedInsidePart::MultipartEndedInsidePart(std::size_t nPart)
    : ClonedException(GDString(L"The multipart body ended inside part %1.")) {
    setMsgInsert(1, GDUInteger(nPart));
}

MultipartMixedLineEnds::MultipartMixedLineEnds()
    : ClonedException(GDString(L"The multipart body ends some of its lines in CRLF and some in LF alone.")) {}

MultipartHeaderBytesExceeded::MultipartHeaderBytesExceeded(std::size_t nPart, std::size_t nMostBytes)
    : ClonedException(GDString(L"Part %1 of the multipart body has more than %2 bytes of headers.")) {
    setMsgInsert(1, GDUInteger(nPart));
    setMsgInsert(2, GDUInteger(nMostBytes));
}

MultipartHeaderCountExceeded::MultipartHeaderCountExceeded(std::size_t nPart, std::size_t nMostHeaders)
    : ClonedException(GDString(L"Part %1 of the multipart body has more than %2 headers.")) {
    setMsgInsert(1, GDUInteger(nPart));
    setMsgInsert(2, GDUInteger(nMostHeaders));
}

MultipartPartCountExceeded::MultipartPartCountExceeded(std::size_t nMostParts)
    : ClonedException(GDString(L"The multipart body has more than %1 parts.")) {
    setMsgInsert(1, GDUInteger(nMostParts));
}

MultipartFieldBytesExceeded::MultipartFieldBytesExceeded(std::size_t nPart, std::size_t nMostBytes)
    : ClonedException(GDString(L"Part %1 of the multipart body is no file and has more than %2 bytes.")) {
    setMsgInsert(1, GDUInteger(nPart));
    setMsgInsert(2, GDUInteger(nMostBytes));
}

MultipartBoundaryUnusable::MultipartBoundaryUnusable()
    : ClonedException(GDString(L"The multipart boundary is missing or has a line end in it.")) {}

MultipartBoundaryTooLong::MultipartBoundaryTooLong(std::size_t nLength)
    : ClonedException(GDString(L"The multipart boundary has %1 characters; at most %2 are allowed.")) {
    setMsgInsert(1, GDUInteger(nLength));
    setMsgInsert(2, GDUInteger(MultipartLimits::s_knMostBoundaryLength));
}
