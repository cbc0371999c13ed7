#include "zq/applicationkit/formdata.h"

#include "applicationkit/records.h"
#include "support/temporarydirectory.h"

using namespace testing;
using kit::FormData;

namespace {

std::string part(const std::string& sDisposition, const std::string& sContent) {
    return "--X\r\nContent-Disposition: form-data" + sDisposition + "\r\n\r\n" + sContent + "\r\n";
}

MemoryRequest multipart(const std::string& sParts,
                        const std::string& sType = "multipart/form-data; boundary=X") {
    return MemoryRequest::post("/?query=unread", sType, sParts);
}

/// A page that shows its form: fields, then files with their bytes.
class FormPage : public Test {
protected:
    kit::FormLimits tLimits;
    FormData::TakeFile fTakeFile;
    MemoryHost tHost{[this](ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
        try {
            show(rStream, rRequest);
        } catch (const kit::RequestError& e) {
            rStream.Reset(ZQHttpStream::kClearBuffer);
            rStream.setStatusCode(e.getStatus());
            rStream.addText(e.getMessageText());
        }
        return HttpApplication::kOK;
    }};

    void show(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
        FormData tForm(rStream, rRequest, tLimits, fTakeFile);
        for (const FormData::Field& r : tForm.getFields())
            rStream.addText(std::wstring(r.sName) + L"=" + std::wstring(r.sValue) + L";");
        for (const kit::UploadedFile& r : tForm.getFiles()) {
            std::string sBytes(r.tContent.getSize() + 1, '\0');
            sBytes.resize(static_cast<std::size_t>(
                pread(r.tContent.getDescriptor().get(), sBytes.data(), sBytes.size(), 0)));
            rStream.addText(std::wstring(r.sField) + L":" + std::wstring(r.sName) + L"(" +
                            std::wstring(r.sType) + L")=" + std::wstring(fromUtf8(sBytes)) + L";");
        }
    }
};

TEST_F(FormPage, ReadsAllKindsOfFormsAlike) {
    test::playRecords("forms.txt", tHost);
}

TEST_F(FormPage, RefusesWhatIsBeyondItsLimits) {
    tLimits = {.nMostFields = 2, .nMostCharacters = 3, .nMostFiles = 1, .nMostFileBytes = 100'000};
    const std::string sBig = part("; name=f; filename=x", std::string(100'000, 'x')), sEnd = "--X--\r\n",
                      sField = part("; name=a", "€€€");
    const std::pair<MemoryRequest, unsigned> tCases[] = {
        {{.sTarget = "/?a=123&b"}, 200},
        {{.sTarget = "/?a&b&c"}, 400},
        {{.sTarget = "/?a=1234"}, 413},
        {MemoryRequest::form("/", "a&b&c"), 400},
        {MemoryRequest::form("/", "a=1234"), 413},
        {multipart(sField + sField + sBig + sEnd), 200},
        {multipart(sField + sField + sField + sEnd), 400},
        {multipart(part("; name=a", "1234") + sEnd), 413},
        {multipart(part("; name=f; filename=x", "") + part("; name=f; filename=x", "") + sEnd), 413},
        {multipart(part("; name=f; filename=x", std::string(100'001, 'x')) + sEnd), 413},
    };
    for (const auto& [rRequest, nStatus] : tCases)
        EXPECT_THAT(tHost.run(rRequest), HasStatus(nStatus)) << rRequest.sTarget << rRequest.tBody.size();

    std::string sTaken;
    fTakeFile = [&](const kit::FileInfo& rInfo, InputStream& rBytes) {
        char tBuffer[3];
        sTaken += toUtf8(rInfo.sField) + ':' + toUtf8(rInfo.sName) + '=';
        sTaken.append(tBuffer, rBytes.readBytes(tBuffer, sizeof tBuffer));
    };
    EXPECT_THAT(tHost.run(multipart(sBig + part("; name=a", "1") + sEnd).divide(1)), HasBody("a=1;"));
    EXPECT_EQ(sTaken, "f:x=x");
    EXPECT_THAT(tHost.run(multipart(sBig + sBig + sEnd)), HasStatus(413));
    fTakeFile = [](const kit::FileInfo&, InputStream& rBytes) { rBytes.skipBytes(200'000); };
    EXPECT_THAT(tHost.run(multipart(sBig + sEnd)), HasStatus(200));
    EXPECT_THAT(tHost.run(multipart(part("; name=f; filename=x", std::string(100'001, 'x')) + sEnd)),
                HasStatus(413));
}

TEST_F(FormPage, KeepsFilesThatAreNamedAndNoOthers) {
    const test::TemporaryDirectory tFolder;
    tLimits.sFolder = tFolder.path();
    const auto fEntries = [&] {
        return std::distance(std::filesystem::directory_iterator(tFolder.path()), {});
    };
    MemoryHost tKeeper([&](ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
        FormData tForm(rStream, rRequest, tLimits);
        EXPECT_EQ(fEntries(), 0);
        tForm.getFiles().at(1).tContent.keepAs(tFolder.path("kept"));
        EXPECT_THROW(tForm.getFiles().at(0).tContent.keepAs(tFolder.path("kept")), std::system_error);
        return HttpApplication::kOK;
    });
    const std::string sBig(200'001, 'x');
    const MemoryRequest tRequest =
        multipart(part("; name=f; filename=x", "1") + part("; name=f; filename=../../kept", sBig) + "--X--");
    EXPECT_THAT(tKeeper.run(tRequest), IsWhole());
    EXPECT_EQ(fEntries(), 1);
    EXPECT_EQ(tFolder.read("kept"), sBig);
    EXPECT_EQ(std::filesystem::status(tFolder.path("kept")).permissions(), std::filesystem::perms(0600));
    EXPECT_THAT(tHost.run(MemoryRequest(tRequest).vanishAfter(150'000)), IsAborted(_));
    EXPECT_EQ(fEntries(), 1);
    tLimits.sFolder = "/proc";
    EXPECT_THAT(tHost.run(tRequest), IsAborted(_));
}

TEST(FormData, TellsThePersonAtTheFormWhatIsWrong) {
    MemoryHost tHost([](ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
        FormData tForm(rStream, rRequest);
        rStream.addText(L"[" + std::wstring(tForm.required(L"name", L"Your name")) + L"] ");
        rStream.addText(std::to_wstring(tForm.number(L"n", -3, 12, L"Guests")));
        rStream.addText(L" " + std::wstring(tForm.get(L"x", L"none")) + L" " +
                        std::to_wstring(tForm.getAll(L"x").size()));
        if (tForm.find(L"own")) tForm.addProblem(L"own", L"Not that.");
        try {
            tForm.check();
            EXPECT_THAT(tForm.getProblems(), IsEmpty());
        } catch (const kit::RequestError& e) {
            EXPECT_EQ(e.getStatus(), 400u);
            rStream.Reset(ZQHttpStream::kClearBuffer);
            rStream.addText(e.getMessageText());
        }
        return HttpApplication::kOK;
    });
    const std::string sNumber = "\"Guests\" should be a whole number from -3 to 12.";
    const std::pair<const char*, std::string> tCases[] = {
        {"name=+%C2%A0Zo%C3%AB+V.+&n=-3", "[Zoë V.] -3 none 0"},
        {"name=a&name=b&n=+12+&x=1&x=2&X=3", "[a] 12 1 2"},
        {"", "Please fill in \"Your name\". Please fill in \"Guests\"."},
        {"name=+%09&n=+", "Please fill in \"Your name\". Please fill in \"Guests\"."},
        {"name=a&n=13", sNumber},
        {"name=a&n=-4", sNumber},
        {"name=a&n=1.5", sNumber},
        {"name=a&n=--1", sNumber},
        {"name=a&n=1&own", "Not that."},
    };
    for (const auto& [pForm, sShown] : tCases)
        EXPECT_THAT(tHost.get(std::string("/?") + pForm), HasBody(sShown)) << pForm;
}

}  // namespace
