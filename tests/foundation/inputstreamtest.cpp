#include "zq/foundation/inputstream.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

/// Gives a text out in pieces of at most nPiece bytes.
class PieceStream final : public InputStream {
public:
    PieceStream(std::string sText, std::size_t nPiece) : m_sText(std::move(sText)), m_nPiece(nPiece) {}

private:
    std::size_t readBytesImpl(void* pBuffer, std::size_t nSize) override {
        const std::size_t nRead =
            m_sText.copy(static_cast<char*>(pBuffer), std::min(nSize, m_nPiece), m_nPos);
        m_nPos += nRead;
        return nRead;
    }
    const std::string m_sText;
    const std::size_t m_nPiece;
    std::size_t m_nPos = 0;
};

TEST(InputStream, ReadsAllHoweverItComes) {
    const std::string sText(10000, 'x');
    for (std::size_t nPiece : {1u, 7u, 4096u, 20000u}) {
        const Handle<InputStream> h(new PieceStream(sText, nPiece));
        std::string sRead(9999, ' ');
        h->readAllBytes(sRead.data(), sRead.size());
        EXPECT_EQ(sRead, sText.substr(1));
        char c = 0;
        EXPECT_EQ(h->readBytes(&c, 1), 1u);
        EXPECT_EQ(h->readBytes(&c, 1), 0u);
        h->readAllBytes(&c, 0);
    }
}

TEST(InputStream, SaysHowMuchIsMissing) {
    PieceStream tStream("four", 3);
    char tBuffer[10];
    EXPECT_THAT(
        [&] { tStream.readAllBytes(tBuffer, sizeof tBuffer); },
        testing::Throws<InputStream::UnexpectedEOF>(testing::Property(
            &Exception::getMessageText, ZQWString(L"Unexpected end of input: 10 bytes expected, 4 read."))));
}

TEST(InputStream, SkipsUpToTheEndAndGoesNowhereElse) {
    PieceStream tStream(std::string(10000, 'x') + "end", 999);
    EXPECT_EQ(tStream.skipBytes(0), 0u);
    EXPECT_EQ(tStream.skipBytes(10000), 10000u);
    char c = 0;
    EXPECT_EQ(tStream.readBytes(&c, 1), 1u);
    EXPECT_EQ(c, 'e');
    EXPECT_EQ(tStream.skipBytes(UINT64_MAX), 2u);
    EXPECT_THROW(tStream.seek(0), InputStream::SeekNotSupported);
}

}  // namespace
