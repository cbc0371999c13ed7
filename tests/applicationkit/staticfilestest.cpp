#include "zq/applicationkit/staticfiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "applicationkit/records.h"
#include "support/allocationcounter.h"
#include "support/temporarydirectory.h"
#include "zq/applicationkit/escape.h"
#include "zq/applicationkit/router.h"
#include "zq/applicationkit/sendfile.h"

using namespace testing;
using kit::StaticFiles;
namespace fs = std::filesystem;

namespace {

/// 1994-11-06 08:49:37 UTC, and half a second.
constexpr std::timespec knChanged{784111777, 500'000'000};
const std::string s_ksChanged = "Sun, 06 Nov 1994 08:49:37 GMT";

/// A folder to be served, "public", beside what must never be seen.
class Static : public Test {
protected:
    test::TemporaryDirectory tDirectory;
    Static() {
        for (const char* pFolder : {"public", "public/sub", "public/.git", "outside"})
            fs::create_directory(tDirectory.path(pFolder));
        for (const char* pSecret : {"secret", "outside/file", "public/.git/config", "public/.htaccess"})
            tDirectory.write(pSecret, "secret");
        put("ten.txt", "0123456789");
        put("empty", "");
        put("sub/index.html", "index");
        pFiles = std::make_unique<StaticFiles>(tDirectory.path("public"), tOptions);
    }
    void put(const std::string& sName, std::string_view sContents, std::timespec tTime = knChanged) {
        const std::timespec tTimes[] = {tTime, tTime};
        utimensat(AT_FDCWD, tDirectory.write("public/" + sName, sContents).c_str(), tTimes, 0);
    }

    StaticFiles::Options tOptions;
    std::unique_ptr<StaticFiles> pFiles;
    std::wstring sPath;  ///< of the next request, if it is set: decoded, for the files themselves
    const kit::Router tRouter{{{kit::Router::kGet, L"/static/{path...}", [this](const kit::RoutedRequest& r) {
                                    return pFiles->send(r.rStream, sPath.empty() ? r.text(L"path") : sPath);
                                }}}};
    MemoryHost tHost{[this](auto& rStream, auto& rRequest) { return tRouter.get(rStream, rRequest); }};

    MemoryResponse get(const std::string& sTarget, MemoryRequest::Fields tHeaders = {}) {
        return tHost.run({.sTarget = "/static/" + sTarget, .tHeaders = std::move(tHeaders)});
    }
};

TEST_F(Static, AnswerTheirRecords) {
    tOptions.tTypes = {{"own", "application/x-own"}};
    pFiles = std::make_unique<StaticFiles>(tDirectory.path("public"), tOptions);
    for (const char* pName : {"both.js", "gz.js", "stale.js"})
        put(pName, "plain");
    for (const char* pName : {"a.html", "a.PNG", "a.tar.svg", "a.json", "a.own", "a.nosuch", "html", "a."})
        put(pName, "x");
    put("both.js.br", "brotli");
    put("both.js.gz", "gzip");
    put("gz.js.gz", "gzip");
    put("stale.js.gz", "gzip", {knChanged.tv_sec, knChanged.tv_nsec - 1});
    put("stale.js.br", "brotli", {knChanged.tv_sec - 1, 999'999'999});
    fs::create_directory(tDirectory.path("public/ten.txt.br"));
    test::playRecords("static.txt", tHost);
    tOptions.nFreshSeconds = 60;
    pFiles = std::make_unique<StaticFiles>(tDirectory.path("public"), tOptions);
    EXPECT_THAT(get("ten.txt", {{"If-None-Match", "*"}}), AllOf(HasStatus(304), HasHeader("Expires", _)));
    EXPECT_NE(get("both.js", {{"Accept-Encoding", "gzip"}}).getValues("ETag"),
              get("both.js").getValues("ETag"));
}

// What changes twice within a tick of a clock looks the same.
TEST_F(Static, TrustsNoValidatorOfAFileThatIsNew) {
    std::timespec tNow{};
    clock_gettime(CLOCK_REALTIME, &tNow);
    for (const int nAhead : {0, 3600}) {
        put("new", "0123456789", {tNow.tv_sec + nAhead, 0});
        const MemoryResponse tResponse = get("new");
        const std::string sTag = tResponse.getValues("ETag").at(0),
                          sDate = tResponse.getValues("Last-Modified").at(0);
        EXPECT_THAT(sTag, StartsWith("W/\""));
        EXPECT_THAT(get("new", {{"If-None-Match", sTag}}), HasStatus(304));
        EXPECT_THAT(get("new", {{"If-Match", sTag}}), HasStatus(412));
        EXPECT_THAT(get("new", {{"If-Match", sTag.substr(2)}}), HasStatus(412));
        EXPECT_THAT(get("new", {{"If-Modified-Since", sDate}}), HasStatus(200));
        EXPECT_THAT(get("new", {{"Range", "bytes=0-0"}, {"If-Range", sDate}}), HasStatus(200));
        EXPECT_THAT(get("new", {{"Range", "bytes=0-0"}, {"If-Range", sTag}}), HasStatus(200));
    }
    put("old", "x", {-5, 0});
    EXPECT_THAT(get("old"), HasHeader("Last-Modified", "Thu, 01 Jan 1970 00:00:01 GMT"));
}

TEST_F(Static, LeavesTheFolderByNoEncoding) {
    int nTried = 0;
    for (const std::string sDots : {"..", "%2e%2e", ".%2e", "%2E.", "%252e%252e", "%c0%ae%c0%ae",
                                    "%ef%bc%8e%ef%bc%8e", "..%00", "..%20", "..;", "....", ".%5c."}) {
        for (const std::string sSlash :
             {"/", "%2f", "%2F", "\\", "%5c", "%252f", "//", "/./", "%c0%af", "%ef%bc%8f"}) {
            for (const std::string sStart : {"", "sub/", "sub%2f..%2f"}) {
                for (const std::string sEnd : {"secret", "outside/file", "public/.git/config"}) {
                    const std::string sUp = sStart.empty() ? sDots : sDots + sSlash + sDots;
                    const std::string sTarget = sStart + sUp + sSlash + sEnd;
                    SCOPED_TRACE(sTarget);
                    sPath.clear();
                    EXPECT_THAT(get(sTarget), AllOf(HasStatus(AnyOf(400, 404)), Not(HasBody("secret"))));
                    // The module and the router stop some of them, but nobody need have them in front.
                    for (int nDecoded = 0; nDecoded < 3; ++nDecoded, ++nTried) {
                        sPath = nDecoded == 0 ? std::wstring(fromUtf8(sTarget)) : sPath;
                        if (nDecoded > 0 && !kit::decodeUrl(std::wstring(sPath), sPath)) break;
                        EXPECT_THAT(get("x"), AllOf(HasStatus(404), Not(HasBody("secret"))));
                    }
                }
            }
        }
    }
    EXPECT_GT(nTried, 1000);
    for (const std::wstring sWhole :
         {L"/etc/passwd", L"//etc/passwd", L"sub//index.html", L"./ten.txt", L"sub/./index.html",
          L"sub/../ten.txt", L".htaccess", L".git/config", L"sub", L"ten.txt/", L"nosuch", L".", L"..", L"/",
          L"sub/index.html/x"}) {
        sPath = sWhole;
        EXPECT_THAT(get("x"), HasStatus(404)) << toUtf8(sWhole);
    }
    sPath = std::wstring(L"ten.txt\0", 8);
    EXPECT_THAT(get("x"), HasStatus(404));
    sPath = std::wstring(300, L'x');
    EXPECT_THAT(get("x"), HasStatus(404));
    sPath.clear();
    EXPECT_THAT(get("sub/"), HasBody("index"));
    EXPECT_THAT(get(""), HasStatus(404));
}

TEST_F(Static, FollowsLinksOnlyWithinTheFolder) {
    const std::tuple<const char*, std::string, const char*, bool> tLinks[] = {
        {"in", "ten.txt", "in", true},
        {"sub/up", "../ten.txt", "sub/up", true},
        {"dir", "sub", "dir/index.html", true},
        {"out", "../secret", "out", false},
        {"sub/out", "../../secret", "sub/out", false},
        {"outdir", "../outside", "outdir/file", false},
        {"back", "../public/ten.txt", "back", false},
        {"absolute", tDirectory.path("public/ten.txt"), "absolute", false},
        {"loop", "loop", "loop", false},
        {"dangling", "nosuch", "dangling", false},
        {"self", "/proc/self/environ", "self", false},
    };
    for (const auto& [pLink, sTo, pPath, bFound] : tLinks) {
        fs::create_symlink(sTo, tDirectory.path("public/" + std::string(pLink)));
        EXPECT_THAT(get(pPath), HasStatus(bFound ? 200u : 404u)) << pLink;
    }
    mkfifo(tDirectory.path("public/pipe").c_str(), 0600);
    EXPECT_THAT(get("pipe"), HasStatus(404));
    fs::rename(tDirectory.path("public"), tDirectory.path("moved"));
    EXPECT_THAT(get("ten.txt"), HasStatus(200));
    EXPECT_THROW(StaticFiles(tDirectory.path("public")), std::system_error);
    EXPECT_THROW(StaticFiles(tDirectory.path("secret")), std::system_error);
}

TEST_F(Static, LosesNoRaceWithWhoeverMovesLinks) {
    tDirectory.write("public/sub/file", "inside");
    const std::string sLink = tDirectory.path("public/link"), sNext = tDirectory.path("public/next");
    std::atomic<bool> bStop = false;
    std::thread tMover([&] {
        while (!bStop)
            for (const char* pTo : {"sub", "../outside"}) {
                fs::create_symlink(pTo, sNext);
                fs::rename(sNext, sLink);
            }
    });
    int nFound = 0, nMissing = 0;
    for (int n = 0; n < 200'000 && (n < 5'000 || nFound == 0 || nMissing == 0); ++n) {
        const MemoryResponse tResponse = get("link/file");
        ASSERT_NE(tResponse.sBody, "secret");
        (tResponse.sBody == "inside" ? nFound : nMissing)++;
    }
    bStop = true;
    tMover.join();
    EXPECT_GT(nFound, 0);
    EXPECT_GT(nMissing, 0);
}

TEST_F(Static, SendsLargeFilesInStepsAndFlatMemory) {
    constexpr std::size_t knStep = 65536;
    put("big", "");
    fs::resize_file(tDirectory.path("public/big"), 512 * knStep + 1);
    std::size_t nBytes = 0, nMost = 0, nWrites = 0;
    MemoryRequest tRequest{.sTarget = "/static/big",
                           .fOnBody =
                               [&](std::string_view s) {
                                   nBytes += s.size();
                                   nMost = std::max(nMost, s.size());
                                   nWrites += s.empty() ? 0 : 1;
                               },
                           .bRecords = false};
    tHost.get("/static/ten.txt");  // what is made once
    const AllocationCounter tCounter;
    MemoryResponse tResponse = tHost.run(tRequest);
    EXPECT_LT(tCounter.getPeak(), static_cast<std::ptrdiff_t>(4 * knStep));
    EXPECT_THAT(tResponse, IsWhole());
    EXPECT_EQ(nBytes, 512 * knStep + 1);
    EXPECT_EQ(nMost, knStep);

    const MemoryResponse tWhole = get("big");
    tRequest.tVariables = {{"REQUEST_METHOD", "HEAD"}};
    tRequest.tHeaders = {{"Range", "bytes=0-1"}};
    tRequest.bRecords = true;
    nWrites = 0;
    tResponse = tHost.run(tRequest);
    EXPECT_EQ(nWrites, 1u);
    EXPECT_EQ(tResponse.nStatus, tWhole.nStatus);
    EXPECT_EQ(tResponse.tHeaders, tWhole.tHeaders);

    tRequest.tVariables.clear();
    tRequest.tHeaders = {{"Range", "bytes=65535-131072"}};
    nBytes = 0;
    EXPECT_THAT(tHost.run(tRequest), AllOf(HasStatus(206), IsWhole()));
    EXPECT_EQ(nBytes, knStep + 2);
    tRequest.fOnBody = [&](std::string_view) { fs::resize_file(tDirectory.path("public/big"), knStep); };
    tRequest.tHeaders.clear();
    EXPECT_THAT(tHost.run(tRequest), IsAborted(HasSubstr("became shorter")));
}

TEST(SendNotModified, KnowsPagesByTheirTime) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        try {
            if (!kit::sendNotModified(rStream, knChanged.tv_sec)) rStream.addText(L"page");
        } catch (const kit::RequestError& e) {
            rStream.setStatusCode(e.getStatus());
        }
        return HttpApplication::kOK;
    });
    const std::tuple<const char*, std::string, unsigned> tCases[] = {
        {"If-Modified-Since", s_ksChanged, 304},
        {"If-Modified-Since", "Sun, 06 Nov 1994 08:49:36 GMT", 200},
        {"If-None-Match", "\"\"", 200},
        {"If-None-Match", "*", 304},
        {"If-Match", "\"\"", 412},
        {"X-None", "", 200}};
    for (const auto& [pName, sValue, nStatus] : tCases) {
        const MemoryResponse tResponse = tHost.run({.tHeaders = {{pName, sValue}}});
        EXPECT_THAT(tResponse, AllOf(HasStatus(nStatus), HasBody(nStatus == 200 ? "page" : ""))) << sValue;
        if (nStatus == 200) {
            EXPECT_THAT(tResponse, HasHeader("Last-Modified", s_ksChanged));
        }
    }
}

TEST_F(Static, StopsWhenItIsCancelled) {
    const kit::Descriptor tFile(::open(tDirectory.path("public/ten.txt").c_str(), O_RDONLY | O_CLOEXEC));
    MemoryHost tSender([&](ZQHttpStream& rStream, const HttpApplicationRequest&) {
        kit::sendFile(rStream, tFile, {.sType = L"image/png", .fCancelled = [] { return true; }});
        return HttpApplication::kOK;
    });
    EXPECT_THAT(tSender.get("/"), IsAborted(HasSubstr("cancelled")));
}

}  // namespace
