#include "zq/foundation/inputstream.h"

#include <algorithm>

InputStream::~InputStream() = default;

void InputStream::readAllBytes(void* pBuffer, std::size_t nSize) {
    auto* p = static_cast<char*>(pBuffer);
    for (std::size_t nLeft = nSize; nLeft != 0;) {
        const std::size_t nRead = readBytes(p, nLeft);
        if (nRead == 0)
            ZQTHROW_prethrowProcessException(UnexpectedEOF(nSize, nSize - nLeft), true, ZQ_WFILE, __LINE__);
        p += nRead;
        nLeft -= nRead;
    }
}

std::uint64_t InputStream::skipBytes(std::uint64_t nCount) {
    char tDropped[4096];
    std::uint64_t nSkipped = 0;
    while (nSkipped < nCount) {
        const std::size_t nWanted = std::min<std::uint64_t>(sizeof tDropped, nCount - nSkipped);
        const std::size_t nRead = readBytes(tDropped, nWanted);
        if (nRead == 0) break;
        nSkipped += nRead;
    }
    return nSkipped;
}

void InputStream::seekImpl(std::uint64_t) {
    ZQTHROW_prethrowProcessException(SeekNotSupported(), true, ZQ_WFILE, __LINE__);
}

InputStream::UnexpectedEOF::UnexpectedEOF(std::size_t nExpected, std::size_t nRead)
    : ClonedException(GDString(L"Unexpected end of input: %1 bytes expected, %2 read.")) {
    setMsgInsert(1, GDUInteger(nExpected));
    setMsgInsert(2, GDUInteger(nRead));
}

InputStream::SeekNotSupported::SeekNotSupported()
    : ClonedException(GDString(L"This input can only be read from front to back.")) {}
