#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>

#include "samplefixture.h"
#include "support/temporarydirectory.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// Makes the file system refuse what grows a file beyond that many bytes, while it lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t nBytes) : m_pBefore(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_tBefore);
        const rlimit tLimit{nBytes, m_tBefore.rlim_max};
        setrlimit(RLIMIT_FSIZE, &tLimit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_tBefore);
        std::signal(SIGXFSZ, m_pBefore);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_tBefore{};
    void (*m_pBefore)(int);
};

/// Names the directory of the application's files before the application is made.
struct StoreDirectory {
    test::TemporaryDirectory tDirectory;
    StoreDirectory() { setenv("SAMPLE_FILES", tDirectory.path("store").c_str(), 1); }
    ~StoreDirectory() { unsetenv("SAMPLE_FILES"); }
    std::vector<std::string> entries() const {
        std::vector<std::string> tNames;
        for (const auto& rEntry : std::filesystem::directory_iterator(tDirectory.path()))
            tNames.push_back(rEntry.path().filename());
        for (const auto& rEntry : std::filesystem::directory_iterator(tDirectory.path("store")))
            tNames.push_back(rEntry.path().filename());
        std::erase(tNames, "store");
        return tNames;
    }
};

std::string part(const std::string& sFileName, const std::string& sContent) {
    return "--X\r\nContent-Disposition: form-data; name=\"files\"; filename=\"" + sFileName + "\"\r\n\r\n" +
           sContent + "\r\n";
}

class SampleExchange : public testing::Test, protected StoreDirectory, protected SampleFixture {
protected:
    void run(FakeRequestProvider& rRequest) {
        rRequest.tVariables["URL"] = "/files";
        tLog.clear();
        FakeResponseProvider tResponse(&tLog);
        tServer.processRequest(rRequest, tResponse);
        sBody = tResponse.sBody;
    }
    void get(const std::string& sQuery = "") {
        FakeRequestProvider tRequest;
        tRequest.sQuery = sQuery;
        run(tRequest);
    }
    void post(const char* pContentType, const std::string& sContent) {
        FakeRequestProvider tRequest;
        tRequest.sMethod = "POST";
        tRequest.tHeaders = tHeaders;
        tRequest.tHeaders.emplace_back("Content-Type", pContentType);
        tRequest.declareBody(sContent);
        run(tRequest);
    }
    void upload(const std::string& sParts) { post("multipart/form-data; boundary=X", sParts + "--X--\r\n"); }
    void remove(const std::string& sId) { post("application/x-www-form-urlencoded", "delete=" + sId); }
    void expectStatus(const std::string& sCall) const { EXPECT_THAT(tLog, Contains(sCall)); }
    /// The ids on the list, from the top.
    std::vector<std::string> listIds() {
        get();
        const std::string sLink = "?get=";
        std::vector<std::string> tIds;
        for (std::size_t n = sBody.find(sLink); n != sBody.npos; n = sBody.find(sLink, n + 1))
            tIds.push_back(sBody.substr(n + sLink.size(), 32));
        return tIds;
    }

    CallLog tLog;
    std::string sBody;
    std::vector<std::pair<std::string, std::string>> tHeaders;  ///< of every POST
};

const std::string s_ksMoved = "setStatusCode 302";
const std::string s_ksBad = "setErrorStatusCode 400";
const std::string s_ksMissing = "setErrorStatusCode 404";

TEST_F(SampleExchange, FilesGoUpComeDownAndAreDeleted) {
    std::string sBig(200'000, '\r');
    for (std::size_t n = 0; n < sBig.size(); n += 3)
        sBig[n] = static_cast<char>(n >> 4);
    upload(part("first.bin", sBig) + part("", "") + part("second.txt", ""));
    EXPECT_THAT(tLog, AllOf(Contains(s_ksMoved), Contains("addHeader Location: /files")));
    const std::vector<std::string> tIds = listIds();
    ASSERT_THAT(tIds, SizeIs(2));
    EXPECT_THAT(sBody, AllOf(HasSubstr("195 KiB"), HasSubstr("0 bytes"), HasSubstr("datetime=\"20")));
    get("get=" + tIds[1]);
    EXPECT_EQ(sBody, sBig);
    EXPECT_THAT(tLog, AllOf(Contains("addHeader Content-Disposition: attachment; filename=\"first.bin\""),
                            Contains("addHeader Content-Type: application/octet-stream"),
                            Contains("addHeader X-Content-Type-Options: nosniff")));
    get("get=" + tIds[0]);
    EXPECT_EQ(sBody, "");

    remove(tIds[1]);
    expectStatus(s_ksMoved);
    EXPECT_THAT(listIds(), ElementsAre(tIds[0]));
    for (const std::string& sQuery : {"get=" + tIds[1], std::string("get=")}) {
        get(sQuery);
        expectStatus(s_ksMissing);
    }
    remove(tIds[1]);
    expectStatus(s_ksMissing);
    remove(tIds[0]);
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(SampleExchange, NamesNeverReachTheFileSystemAndComeBackHarmless) {
    const struct {
        std::string sSent, sShown, sDownload;
    } tCases[] = {
        {"../../../evil", "<bdi>evil</bdi>", "filename=\"evil\""},
        {"..\\..\\evil.exe", "<bdi>evil.exe</bdi>", "filename=\"evil.exe\""},
        {"..", "<bdi>unnamed</bdi>", "filename=\"unnamed\""},
        {"a\x01"
         "b\x7F.txt",
         "<bdi>a\u2401b\u2421.txt</bdi>", "filename=\"a_b"},
        {"<script>alert(1)</script>.html", "<bdi>script&gt;.html</bdi>", "filename=\"script_.html\""},
        {"<img src=x onerror=y>", "<bdi>&lt;img src=x onerror=y&gt;</bdi>", "filename=\"_img src=x"},
        {"party 🎉.png", "<bdi>party 🎉.png</bdi>", "filename="},
        {std::string(5000, 'x') + ".txt", std::string(5000, 'x') + ".txt</bdi>", "x.txt\""},
        {"", "<bdi>unnamed</bdi>", "filename=\"unnamed\""},
    };
    for (const auto& rCase : tCases) {
        SCOPED_TRACE(rCase.sSent.substr(0, 40));
        upload(part(rCase.sSent, "content"));
        expectStatus(s_ksMoved);
        const std::vector<std::string> tIds = listIds();
        ASSERT_THAT(tIds, SizeIs(1));
        EXPECT_THAT(entries(), testing::UnorderedElementsAre(tIds[0] + ".data", tIds[0] + ".name"));
        EXPECT_THAT(sBody, HasSubstr(rCase.sShown));
        get("get=" + tIds[0]);
        EXPECT_THAT(tLog, Contains(AllOf(HasSubstr("Content-Disposition: attachment; filename="),
                                         HasSubstr(rCase.sDownload))));
        EXPECT_EQ(sBody, "content");
        remove(tIds[0]);
    }
}

TEST_F(SampleExchange, EqualNamesStandSideBySideAndTheLatestFirst) {
    upload(part("same", "1"));
    const std::vector<std::string> tBefore = listIds();
    upload(part("same", "2"));
    const std::vector<std::string> tIds = listIds();
    ASSERT_THAT(tIds, SizeIs(2));
    EXPECT_EQ(tIds[1], tBefore.at(0));
    get("get=" + tIds[0]);
    EXPECT_EQ(sBody, "2");
}

TEST_F(SampleExchange, InterruptedUploadsLeaveNothing) {
    const std::string sWhole = part("first", "1") + part("second", std::string(100'000, '2'));
    for (const std::size_t nLength : {std::size_t{10}, part("first", "1").size() + 70, sWhole.size() - 2}) {
        SCOPED_TRACE(nLength);
        post("multipart/form-data; boundary=X", sWhole.substr(0, nLength));
        expectStatus(s_ksBad);
        EXPECT_THAT(entries(), IsEmpty());
    }
    FakeRequestProvider tRequest;
    tRequest.sMethod = "POST";
    tRequest.tHeaders = {{"Content-Type", "multipart/form-data; boundary=X"}};
    tRequest.tBody = {sWhole.substr(0, 50'000), sWhole.substr(50'000)};
    std::size_t nMostEntries = 0;
    tRequest.fBeforeRead = [&] {
        nMostEntries = std::max(nMostEntries, entries().size());
        if (tRequest.tBody[0].empty()) throw Exception(GDString(L"The client is gone."));
    };
    EXPECT_THROW(run(tRequest), Exception);
    EXPECT_EQ(nMostEntries, 0u) << "the first file is whole, but not the upload";
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(SampleExchange, AFullDiskIsSaidAndLeavesNothing) {
    {
        const FileSizeLimit tLimit(100'000);
        upload(part("small", "1") + part("big", std::string(300'000, 'x')));
    }
    expectStatus("setErrorStatusCode 507");
    EXPECT_THAT(sBody, HasSubstr("no room"));
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(SampleExchange, RequestsForNoFileAreRefused) {
    upload(part("", ""));
    expectStatus(s_ksBad);
    upload("--X\r\nContent-Disposition: form-data; name=\"files\"\r\n\r\nno file\r\n");
    expectStatus(s_ksBad);
    EXPECT_THAT(entries(), IsEmpty());
    tDirectory.write("secret.data", "secret");
    const std::vector<std::string> tIds{"../secret",          "..%2Fsecret",        "%00",         "0",
                                        std::string(32, 'A'), std::string(33, '0'), "%F0%9F%8E%89"};
    for (const std::string& sId : tIds) {
        SCOPED_TRACE(sId);
        get("get=" + sId);
        expectStatus(s_ksMissing);
        remove(sId);
        expectStatus(s_ksMissing);
    }
    EXPECT_EQ(tDirectory.read("secret.data"), "secret");
}

TEST_F(SampleExchange, FormsThatAreNoUploadAreRefusedAsAWhole) {
    std::string sTooMany, sNameless = part("a", "1") + part("b", "2");
    for (int n = 0; n < 101; ++n)
        sTooMany += part("x", "1");
    sNameless.replace(sNameless.rfind("\"files\""), 7, "\"\"");
    const struct {
        const char* pType;
        std::string sParts, sStatus, sSaid;
    } tCases[] = {
        {"multipart/form-data; boundary=X", sNameless + part("c", "3"), s_ksBad, "one without a name"},
        {"multipart/form-data; boundary=X", sTooMany, "setErrorStatusCode 413", "At most 100 files"},
        {"multipart/form-data; boundary=X", part("a", "1") + "--X\r\nH: 1", s_ksBad, "ended inside part 2"},
        {"text/plain", part("a", "1"), s_ksBad, "multipart/form-data"},
    };
    for (const auto& rCase : tCases) {
        post(rCase.pType, rCase.sParts + "--X--\r\n");
        expectStatus(rCase.sStatus);
        EXPECT_THAT(sBody, HasSubstr(rCase.sSaid));
        EXPECT_THAT(entries(), IsEmpty()) << rCase.sSaid;
    }
    post("Multipart/Form-Data, boundary=X", part("a", "1") + "--X--");
    expectStatus(s_ksMoved);
}

TEST_F(SampleExchange, OtherSitesCanNeitherAddNorDelete) {
    upload(part("a", "1"));
    const std::string sId = listIds().at(0);
    for (const char* pOrigin :
         {"", "null", "http://evil.example", "http://host:81", "http://host:8080.evil"}) {
        SCOPED_TRACE(pOrigin);
        tHeaders = {{"Host", "host:8080"}, {"Origin", pOrigin}};
        if (!*pOrigin) tHeaders[1] = {"Sec-Fetch-Site", "cross-site"};
        upload(part("b", "2"));
        expectStatus("setErrorStatusCode 403");
        remove(sId);
        expectStatus("setErrorStatusCode 403");
        EXPECT_THAT(listIds(), ElementsAre(sId));
    }
    tHeaders = {{"Host", "host:8080"}, {"Origin", "http://host:8080"}, {"Sec-Fetch-Site", "same-origin"}};
    remove(sId);
    expectStatus(s_ksMoved);
}

TEST_F(SampleExchange, TheFileThatIsOneTooManyIsRefused) {
    for (int n = 0; n < 999; ++n) {
        std::string sId = std::to_string(n);
        sId.insert(0, 32 - sId.size(), '0');
        tDirectory.write("store/" + sId + ".data", "x");
    }
    upload(part("a", "1") + part("b", "2"));
    expectStatus("setErrorStatusCode 507");
    EXPECT_THAT(listIds(), SizeIs(999));

    // There was room when the first one began, and another one takes it.
    FakeRequestProvider tRequest;
    tRequest.sMethod = "POST";
    tRequest.tHeaders = {{"Content-Type", "multipart/form-data; boundary=X"}};
    tRequest.tBody = {part("first", "1"), "--X--"};
    tRequest.fBeforeRead = [&] {
        if (!tRequest.tBody[0].empty()) return;
        tRequest.fBeforeRead = nullptr;
        upload(part("second", "2"));
        expectStatus(s_ksMoved);
    };
    run(tRequest);
    expectStatus("setErrorStatusCode 507");
    EXPECT_THAT(listIds(), SizeIs(1000));
    EXPECT_THAT(sBody, AllOf(HasSubstr("second"), testing::Not(HasSubstr("first"))));
}

// What a process leaves that is killed.
TEST(SampleStore, CleansUpWhenItStarts) {
    const std::string sId(32, '0'), sYoung(32, '1'), sWhole(32, '2');
    const StoreDirectory tStore;
    const test::TemporaryDirectory& rDirectory = tStore.tDirectory;
    std::filesystem::create_directory(rDirectory.path("store"));
    for (const std::string& sName : {sId + ".name", sYoung + ".name", sWhole + ".name", sWhole + ".data"}) {
        rDirectory.write("store/" + sName, "x");
        if (sName[0] == '1') continue;
        std::filesystem::last_write_time(
            rDirectory.path("store/" + sName),
            std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }
    delete zqCreateHttpApplication();
    EXPECT_THAT(tStore.entries(),
                testing::UnorderedElementsAre(sYoung + ".name", sWhole + ".name", sWhole + ".data"));
}

TEST(SampleStore, RemovesTemporaryDirectoriesThatAreNoLongerUsed) {
    const test::TemporaryDirectory tParent;
    const std::string sId(32, '0');
    for (const auto& [sName, sFile] :
         {std::pair<std::string, std::string>{"sample-files-killed", sId + ".data"},
          {"sample-files-others", "photo.jpg"},
          {"sample-files-backups", sId + ".data"}}) {
        std::filesystem::create_directory(tParent.path(sName));
        std::filesystem::permissions(tParent.path(sName), std::filesystem::perms::owner_all);
        tParent.write(sName + "/" + sFile, "x");
    }
    const auto fCount = [&] {
        const std::filesystem::directory_iterator it(tParent.path());
        return std::distance(begin(it), end(it));
    };
    setenv("TMPDIR", tParent.path().c_str(), 1);
    {
        const std::unique_ptr<HttpApplication> pFirst(zqCreateHttpApplication()),
            pSecond(zqCreateHttpApplication());
        EXPECT_EQ(fCount(), 4) << "what is not the store's stays, and two that are in use";
    }
    EXPECT_EQ(fCount(), 2);
    unsetenv("TMPDIR");
}

TEST(SampleStore, SaysWhyItCannotBeWhereItShould) {
    setenv("SAMPLE_FILES", "/proc", 1);
    try {
        delete zqCreateHttpApplication();
        ADD_FAILURE();
    } catch (const std::exception& e) {
        EXPECT_THAT(e.what(), AllOf(HasSubstr("/proc"), HasSubstr("O_TMPFILE")));
    }
    unsetenv("SAMPLE_FILES");
}

}  // namespace
