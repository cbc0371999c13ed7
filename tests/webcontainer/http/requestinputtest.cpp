#include <gtest/gtest.h>

#include <algorithm>

#include "http/requestinput.h"

namespace {

using webcontainer::Limits;
using webcontainer::RequestInput;
using EStatus = RequestInput::EStatus;

TEST(RequestInput, HandsOverABodyOnlyWhenItIsCompleteOrLongOrAwaited) {
    Limits tLimits;
    tLimits.nPrefetchBytes = 1000;
    const std::string sChunked = "Transfer-Encoding: chunked\r\n\r\n3e8\r\n" + std::string(1000, 'x');
    const struct {
        std::string sFieldsAndBody;
        std::string sMore;
        EStatus eBefore;
        EStatus eAfter;
    } tCases[] = {
        {"Content-Length: 1000\r\n\r\n" + std::string(999, 'x'), "x", EStatus::kNeedMore, EStatus::kReady},
        {"Content-Length: 5000\r\n\r\n" + std::string(1000, 'x'), "x", EStatus::kNeedMore, EStatus::kReady},
        {sChunked, "\r\n1\r\nx", EStatus::kNeedMore, EStatus::kReady},
        {sChunked, "\r\n0\r\n\r", EStatus::kNeedMore, EStatus::kNeedMore},
        {sChunked + "\r\n1\r\nx", "\n", EStatus::kReady, EStatus::kRefused},
        {"Content-Length: 5\r\nExpect: 100-continue\r\n\r\n", "1", EStatus::kReady, EStatus::kNeedMore},
    };
    for (const auto& r : tCases) {
        RequestInput tInput(tLimits, 0);
        const auto feed = [&](const std::string& s) {
            for (std::size_t n = 0; n < s.size();) {
                const auto tRoom = tInput.room();
                const std::size_t nPiece = std::min(tRoom.size(), s.size() - n);
                std::copy_n(s.data() + n, nPiece, tRoom.data());
                tInput.commit(nPiece);
                n += nPiece;
            }
            return tInput.advance();
        };
        EXPECT_EQ(feed("PUT / HTTP/1.1\r\nHost: h\r\n" + r.sFieldsAndBody), r.eBefore) << r.sFieldsAndBody;
        EXPECT_EQ(feed(r.sMore), r.eAfter) << r.sFieldsAndBody;
    }
}

}  // namespace
