#include <sys/resource.h>

#include <csignal>
#include <functional>

#include "samplefixture.h"
#include "support/temporarydirectory.h"

using namespace testing;
namespace fs = std::filesystem;

namespace {

/// Names the directory of the application's files before the application is made.
struct StoreDirectory {
    test::TemporaryDirectory tDirectory;
    StoreDirectory() { setenv("SAMPLE_FILES", tDirectory.path("store").c_str(), 1); }
    ~StoreDirectory() { unsetenv("SAMPLE_FILES"); }
    /// All names in there, but for the store's own.
    std::vector<std::string> entries() const {
        std::vector<std::string> tNames;
        for (const auto& rEntry : fs::recursive_directory_iterator(tDirectory.path()))
            tNames.push_back(rEntry.path().filename());
        std::erase(tNames, "store");
        return tNames;
    }
};

std::string part(const std::string& sFileName, const std::string& sContent) {
    return "--X\r\nContent-Disposition: form-data; name=\"files\"; filename=\"" + sFileName + "\"\r\n\r\n" +
           sContent + "\r\n";
}

const std::string s_ksUploadType = "multipart/form-data; boundary=X";
const std::string s_ksFull = "setErrorStatusCode 507";

class SampleExchange : public Test, protected StoreDirectory, protected SampleFixture {
protected:
    /// fHalfway is called once, when half of the content has been read.
    std::string post(const std::string& sType, const std::string& sContent,
                     std::function<void()> fHalfway = nullptr) {
        MemoryRequest tRequest = MemoryRequest::post("/files", sType, sContent);
        tRequest.divide((sContent.size() + 1) / 2);
        int nReads = 0;
        tRequest.fOnCall = [&](const MemoryRequest::Calls& rCalls) {
            if (rCalls.back().starts_with("readFromBody") && nReads++ == 1 && fHalfway) fHalfway();
        };
        return run(tRequest);
    }
    std::string get(const std::string& sId) { return SampleFixture::get("/files?get=" + sId); }
    std::string upload(const std::string& sParts) { return post(s_ksUploadType, sParts + "--X--\r\n"); }
    std::string remove(const std::string& sId) {
        return post("application/x-www-form-urlencoded", "delete=" + sId);
    }
    /// The ids on the list, from the top.
    std::vector<std::string> listIds() {
        SampleFixture::get("/files");
        return findAll("?get=");
    }
};

TEST_F(SampleExchange, FilesGoUpComeDownAndAreDeleted) {
    std::string sBig(200'000, '\r');
    for (std::size_t n = 0; n < sBig.size(); n += 3)
        sBig[n] = static_cast<char>(n >> 4);
    upload(part("first.bin", sBig) + part("", "") + part("second.txt", ""));
    EXPECT_THAT(tLog, AllOf(Contains(s_ksMoved), Contains("addHeader Location: /files")));
    const std::vector<std::string> tIds = listIds();
    ASSERT_THAT(tIds, SizeIs(2));
    EXPECT_THAT(sBody, AllOf(HasSubstr("195 KiB"), HasSubstr("0 bytes"), HasSubstr("datetime=\"20")));
    get(tIds[1]);
    EXPECT_EQ(sBody, sBig);
    EXPECT_THAT(tLog, AllOf(Contains("addHeader Content-Disposition: attachment; filename=\"first.bin\""),
                            Contains("addHeader Content-Type: application/octet-stream"),
                            Contains("addHeader X-Content-Type-Options: nosniff")));
    get(tIds[0]);
    EXPECT_EQ(sBody, "");

    EXPECT_EQ(remove(tIds[1]), s_ksMoved);
    EXPECT_THAT(listIds(), ElementsAre(tIds[0]));
    EXPECT_EQ(get(tIds[1]), s_ksMissing);
    EXPECT_EQ(remove(tIds[1]), s_ksMissing);
    remove(tIds[0]);
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(SampleExchange, NamesNeverReachTheFileSystemAndComeBackHarmless) {
    const struct {
        std::string sSent, sShown, sDownload;
    } tCases[] = {
        {"../../../evil", "<bdi>evil</bdi>", "filename=\"evil\""},
        {std::string(5000, 'x') + ".txt", std::string(5000, 'x') + ".txt</bdi>", "x.txt\""},
    };
    for (const auto& rCase : tCases) {
        SCOPED_TRACE(rCase.sSent.substr(0, 40));
        EXPECT_EQ(upload(part(rCase.sSent, "content")), s_ksMoved);
        const std::vector<std::string> tIds = listIds();
        ASSERT_THAT(tIds, SizeIs(1));
        EXPECT_THAT(entries(), UnorderedElementsAre(tIds[0] + ".data", tIds[0] + ".name"));
        EXPECT_THAT(sBody, HasSubstr(rCase.sShown));
        get(tIds[0]);
        EXPECT_THAT(tLog, Contains(AllOf(HasSubstr("Content-Disposition: attachment; filename="),
                                         HasSubstr(rCase.sDownload))));
        EXPECT_EQ(sBody, "content");
        remove(tIds[0]);
    }
}

TEST_F(SampleExchange, EqualNamesStandSideBySideAndTheLatestFirst) {
    upload(part("same", "1") + part("same", "2"));
    upload(part("same", "3") + part("same", "4"));
    std::string sContents;
    for (const std::string& sId : listIds()) {
        get(sId);
        sContents += sBody;
    }
    EXPECT_EQ(sContents, "4321");
}

TEST_F(SampleExchange, InterruptedUploadsLeaveNothing) {
    const std::string sWhole = part("first", "1") + part("second", std::string(100'000, '2'));
    for (const std::size_t nLength : {std::size_t{10}, part("first", "1").size() + 70, sWhole.size() - 2}) {
        SCOPED_TRACE(nLength);
        EXPECT_EQ(post(s_ksUploadType, sWhole.substr(0, nLength)), s_ksBad);
        EXPECT_THAT(entries(), IsEmpty());
    }
    const auto fVanish = [this] {
        EXPECT_THAT(entries(), IsEmpty()) << "the first file is whole, but not the upload";
        throw Exception(GDString(L"The client is gone."));
    };
    EXPECT_THROW(post(s_ksUploadType, sWhole, fVanish), Exception);
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(SampleExchange, AFullDiskIsSaidAndLeavesNothing) {
    rlimit tBefore{};
    getrlimit(RLIMIT_FSIZE, &tBefore);
    const rlimit tSmall{100'000, tBefore.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &tSmall);
    EXPECT_EQ(upload(part("small", "1") + part("big", std::string(300'000, 'x'))), s_ksFull);
    setrlimit(RLIMIT_FSIZE, &tBefore);
    EXPECT_THAT(sBody, HasSubstr("no room"));
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(SampleExchange, UnknownIdsAreRefused) {
    tDirectory.write("secret.data", "secret");
    const std::string tIds[] = {"../secret",          "..%2Fsecret",        "%00",          "0",
                                std::string(32, 'A'), std::string(33, '0'), "%F0%9F%8E%89", ""};
    for (const std::string& sId : tIds) {
        SCOPED_TRACE(sId);
        EXPECT_EQ(get(sId), s_ksMissing);
        EXPECT_EQ(remove(sId), s_ksMissing);
    }
    EXPECT_EQ(tDirectory.read("secret.data"), "secret");
}

TEST_F(SampleExchange, FormsWithoutAFileAreRefused) {
    const std::string sNoFile = "--X\r\nContent-Disposition: form-data; name=\"files\"\r\n\r\nno file\r\n";
    for (const std::string& sParts : {part("", ""), sNoFile}) {
        EXPECT_EQ(upload(sParts), s_ksBad);
        EXPECT_THAT(sBody, HasSubstr("No file was chosen"));
        EXPECT_THAT(entries(), IsEmpty());
    }
}

TEST_F(SampleExchange, OtherSitesCanNeitherAddNorDelete) {
    const std::string sForbidden = "setErrorStatusCode 403";
    upload(part("a", "1"));
    const std::string sId = listIds().at(0);
    const std::pair<const char*, const char*> tForeign[] = {{"Sec-Fetch-Site", "cross-site"},
                                                            {"Origin", "null"},
                                                            {"Origin", "http://host:81"},
                                                            {"Origin", "http://host:8080.evil"}};
    for (const auto& [pName, pValue] : tForeign) {
        SCOPED_TRACE(pValue);
        tHeaders = {{"Host", "host:8080"}, {pName, pValue}};
        EXPECT_EQ(upload(part("b", "2")), sForbidden);
        EXPECT_EQ(remove(sId), sForbidden);
        EXPECT_THAT(listIds(), ElementsAre(sId));
    }
    tHeaders = {{"Host", "host:8080"}, {"Origin", "http://host:8080"}, {"Sec-Fetch-Site", "same-origin"}};
    EXPECT_EQ(remove(sId), s_ksMoved);
}

TEST_F(SampleExchange, TheFileThatIsOneTooManyIsRefused) {
    for (int n = 1000; n < 1999; ++n)
        tDirectory.write("store/" + std::string(28, '0') + std::to_string(n) + ".data", "x");
    EXPECT_EQ(upload(part("a", "1") + part("b", "2")), s_ksFull);
    EXPECT_THAT(listIds(), SizeIs(999));

    // There was room when the first one began, and another one takes it.
    const auto fTakeIt = [this] { EXPECT_EQ(upload(part("second", "2")), s_ksMoved); };
    EXPECT_EQ(post(s_ksUploadType, part("first", "1") + "--X--", fTakeIt), s_ksFull);
    EXPECT_THAT(listIds(), SizeIs(1000));
    EXPECT_THAT(sBody, AllOf(HasSubstr("second"), Not(HasSubstr("first"))));
}

// What a process leaves that is killed.
TEST(SampleStore, CleansUpWhenItStarts) {
    const std::string sOld(32, '0'), sYoung(32, '1'), sWhole(32, '2');
    const StoreDirectory tStore;
    fs::create_directory(tStore.tDirectory.path("store"));
    for (const std::string& sName : {sOld + ".name", sYoung + ".name", sWhole + ".name", sWhole + ".data"}) {
        const std::string sPath = tStore.tDirectory.write("store/" + sName, "x");
        if (sName != sYoung + ".name")
            fs::last_write_time(sPath, fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    delete zqCreateHttpApplication();
    EXPECT_THAT(tStore.entries(), UnorderedElementsAre(sYoung + ".name", sWhole + ".name", sWhole + ".data"));
}

TEST(SampleStore, RemovesTemporaryDirectoriesThatAreNoLongerUsed) {
    const test::TemporaryDirectory tParent;
    const std::string sFile = std::string(32, '0') + ".data";
    for (const fs::path tFile : {"sample-files-killed/" + sFile, std::string("sample-files-others/photo.jpg"),
                                 "sample-files-backups/" + sFile}) {
        const std::string sDirectory = tParent.path(tFile.parent_path().string());
        fs::create_directory(sDirectory);
        fs::permissions(sDirectory, fs::perms::owner_all);
        tParent.write(tFile.string(), "x");
    }
    const auto fCount = [&] {
        return std::distance(fs::directory_iterator(tParent.path()), fs::directory_iterator());
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
    EXPECT_THAT(&zqCreateHttpApplication,
                ThrowsMessage<std::exception>(AllOf(HasSubstr("/proc"), HasSubstr("O_TMPFILE"))));
    unsetenv("SAMPLE_FILES");
}

}  // namespace
