#pragma once

#include "zq/foundation/inputstream.h"
#include "zq/httpstream/zqhttpstream.h"

namespace kiv {

/// The body of a request as an input stream; must not outlive the stream it reads from.
class InputOnHttpStream final : public InputStream {
public:
    explicit InputOnHttpStream(ZQHttpStream& rStream) noexcept : m_stream(rStream) {}

private:
    std::size_t readBytesImpl(void* pBuffer, std::size_t nSize) override {
        return m_stream.ReadBinary(pBuffer, nSize);
    }

    ZQHttpStream& m_stream;
};

}  // namespace kiv
