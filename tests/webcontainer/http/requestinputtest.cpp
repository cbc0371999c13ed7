#include <gtest/gtest.h>

#include <memory>

#include "http/byteclass.h"
#include "http/requestinput.h"

namespace {

using webcontainer::Limits;
using webcontainer::Parsed;
using webcontainer::RequestInput;

TEST(RequestInput, HandsOverABodyOnlyWhenItIsCompleteOrLongAndKnowsWhatHasCome) {
    Limits tLimits;
    tLimits.nPrefetchBytes = 1000;
    const std::string sChunked = "Transfer-Encoding: chunked\r\n\r\n3e8\r\n" + std::string(1000, 'x');
    const struct {
        std::string sFieldsAndBody;
        std::string sMore;
        Parsed::EKind eBefore;
        Parsed::EKind eAfter;
    } tCases[] = {
        {"Content-Length: 1000\r\n\r\n" + std::string(999, 'x'), "x", Parsed::kNeedMore, Parsed::kDone},
        {"Content-Length: 5000\r\n\r\n" + std::string(1000, 'x'), "x", Parsed::kNeedMore, Parsed::kDone},
        {sChunked, "\r\n1\r\nx", Parsed::kNeedMore, Parsed::kDone},
        {sChunked, "\r\n0\r\n\r", Parsed::kNeedMore, Parsed::kNeedMore},
        {sChunked + "\r\n1\r\nx", "\n", Parsed::kDone, Parsed::kRefused},
        {"Content-Length: 5\r\nExpect: 100-continue\r\n\r\n", "1", Parsed::kNeedMore, Parsed::kNeedMore},
    };
    for (const auto& r : tCases) {
        auto pInput = std::make_unique<RequestInput>(tLimits, 0);
        pInput->keepChunks();
        const auto feed = [&](std::string s) {
            for (std::size_t nPiece; !s.empty(); s.erase(0, nPiece)) {
                const auto tRoom = pInput->room();
                pInput->commit(nPiece = s.copy(tRoom.data(), tRoom.size()));
            }
            return pInput->advance();
        };
        const std::string sFirst = "\r\nPUT /?q HTTP/1.1\r\nHost: h\r\n" + r.sFieldsAndBody;
        EXPECT_EQ(feed(sFirst), r.eBefore) << r.sFieldsAndBody;
        for (const bool bExpected : {r.sFieldsAndBody.find("Expect") != std::string::npos, false})
            EXPECT_EQ(pInput->takeExpectation(), bExpected) << r.sFieldsAndBody;
        if (r.eBefore == Parsed::kNeedMore) pInput = pInput->detach();
        EXPECT_EQ(feed(r.sMore), r.eAfter) << r.sFieldsAndBody;
        const bool bChunksKept = r.eAfter != Parsed::kRefused;  // which, here, comes too late for that
        EXPECT_EQ(pInput->getRaw(), bChunksKept ? sFirst + r.sMore : sFirst);
        pInput->clear();
        EXPECT_EQ(pInput->getRaw(), "");
    }
}

TEST(ByteClass, AVectorEndsWhereAByteDoes) {
    std::string s(48, 'x');
    const char* const p = s.data();
    for (unsigned nByte = 0; nByte < 256; ++nByte)
        for (std::size_t nAt = 0; nAt < s.size(); s[nAt++] = 'x') {
            s[nAt] = static_cast<char>(nByte);
            for (std::size_t nFrom = 0; nFrom <= 16; ++nFrom)
                for (const char* pEnd = p + nFrom; pEnd <= p + s.size(); ++pEnd)
                    ASSERT_EQ(webcontainer::skipValueBytes(p + nFrom, pEnd),
                              webcontainer::skipBytes(webcontainer::kValueByte, p + nFrom, pEnd))
                        << "byte " << nByte << " at " << nAt << " from " << nFrom;
        }
}

}  // namespace
