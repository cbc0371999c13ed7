#pragma once

#include "zq/foundation/inputstream.h"
#include "zq/httpstream/multipartreader.h"

namespace kiv {

/// The bytes of the part that a MultipartReader stands at, whichever that is. Does not own the reader: it may
/// be read until the stream that made it starts another enumeration or ends.
class MultipartStream final : public InputStream {
public:
    explicit MultipartStream(MultipartReader& rReader) noexcept : m_rReader(rReader) {}

private:
    std::size_t readBytesImpl(void* pBuffer, std::size_t nSize) override {
        return m_rReader.readPart(pBuffer, nSize);
    }

    MultipartReader& m_rReader;
};

}  // namespace kiv
