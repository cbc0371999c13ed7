#pragma once

#include <cstddef>
#include <cstdint>

#include "zq/foundation/exception.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/refcounted.h"

/// A source of bytes, read from front to back; shared through Handles, used by one thread at a time.
class ZQ_EXPORT InputStream : public RefCounted {
public:
    ~InputStream() override;

    /// Copies at most nSize bytes (nSize > 0) to pBuffer and returns how many; 0 means the end.
    std::size_t readBytes(void* pBuffer, std::size_t nSize) { return readBytesImpl(pBuffer, nSize); }
    /// Reads exactly nSize bytes; UnexpectedEOF when the stream ends before.
    void readAllBytes(void* pBuffer, std::size_t nSize);
    /// Moves to an absolute position, in bytes. Throws SeekNotSupported on streams that only go forward.
    void seek(std::uint64_t nPosition) { seekImpl(nPosition); }

    /// The stream ended before the bytes that were wanted had come.
    class ZQ_EXPORT UnexpectedEOF : public ClonedException<UnexpectedEOF> {
    public:
        /// nExpected: bytes still wanted, or 1 where any would have done; nRead: bytes that came instead.
        UnexpectedEOF(std::size_t nExpected, std::size_t nRead);
    };

    /// The stream only goes forward.
    class ZQ_EXPORT SeekNotSupported : public ClonedException<SeekNotSupported> {
    public:
        SeekNotSupported();
    };

    /// Reads and drops at most nCount bytes; returns how many. Less than nCount means the end.
    virtual std::uint64_t skipBytes(std::uint64_t nCount);

protected:
    InputStream() noexcept = default;

private:
    virtual std::size_t readBytesImpl(void* pBuffer, std::size_t nSize) = 0;
    virtual void seekImpl(std::uint64_t nPosition);
};
