// How an application is tested without a server.

#include "zq/httpstream/queryparameters.h"
#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

using namespace testing;

namespace {

/// Greets whoever fills in its form, and keeps the file that it is sent.
class Guestbook final : public HttpApplication {
public:
    std::string sKept;

    EStatus get(ZQHttpStream&, const HttpApplicationRequest&) override { return kBadRequest; }
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        rStream.SetFormat(WebContentFormat::kText);
        if (rRequest.bBodyInStream) return keepFile(rStream);
        rStream.addText(L"Good morning, ");
        rStream.addText(QueryParameters(rRequest.sBody, rRequest.hParameterCharset).get(L"name"));
        return kOK;
    }

private:
    EStatus keepFile(ZQHttpStream& rStream) {
        ZQHttpStream::Param tFile;
        if (rStream.getFirstParam(tFile, {}) < 0) return kBadParam;
        std::string sFile;
        char tBuffer[100];
        while (const std::size_t n = tFile.hStream->readBytes(tBuffer, sizeof tBuffer))
            sFile.append(tBuffer, n);
        sKept = sFile;
        return kOK;
    }
};

TEST(Guestbook, AnswersAForm) {
    Guestbook tGuestbook;
    MemoryHost tHost(tGuestbook);
    EXPECT_THAT(tHost.run(MemoryRequest::form("/", "name=W%C3%B6rld")),
                AllOf(HasStatus(200), HasHeader("Content-Type", "text/plain; charset=utf-8"),
                      HasBody("Good morning, Wörld"), IsWhole()));
}

TEST(Guestbook, KeepsAnUploadThatComesInPieces) {
    Guestbook tGuestbook;
    MemoryHost tHost(tGuestbook);
    const auto tUpload = MemoryRequest::upload("/", "file", "a.txt", "some content").divide(7);
    EXPECT_THAT(tHost.run(tUpload), HasStatus(200));
    EXPECT_EQ(tGuestbook.sKept, "some content");
}

TEST(Guestbook, KeepsNothingOfAClientThatVanishes) {
    Guestbook tGuestbook;
    MemoryHost tHost(tGuestbook);
    auto tUpload = MemoryRequest::upload("/", "file", "a.txt", "some content");
    tUpload.vanishAfter(tUpload.tBody[0].find("content"));
    EXPECT_THAT(tHost.run(tUpload), IsAborted("The client has vanished."));
    EXPECT_EQ(tGuestbook.sKept, "");
    EXPECT_THAT(tHost.run(MemoryRequest::form("/", "name=World").vanishAfter(7)),
                AllOf(IsAborted("The client has vanished."), HasBody("")));
}

}  // namespace
