#include <gtest/gtest.h>

#include "memoryrequestprovider.h"
#include "memoryresponseprovider.h"
#include "support/scriptedapplication.h"
#include "zq/httpstream/queryparameters.h"
#include "zq/webhttpserver/kivhttpserver.h"

namespace {

/// The first call on the response to a POST.
std::string post(HttpApplication& rApplication, FakeRequestProvider& rRequest, const char* pBody) {
    HttpServerInitContext tContext(rApplication);
    kiv::KIVHttpServer tServer(tContext);
    CallLog tLog;
    FakeResponseProvider tResponse(&tLog);
    rRequest.sMethod = "POST";
    rRequest.declareBody(pBody);
    tServer.processRequest(rRequest, tResponse);
    return tLog[0];
}

/// One POST with a declared body, through the module to the application.
struct PostCase {
    const char* pContentType;
    const char* pBody;
    const wchar_t* pCharset;  ///< the label that the application is told; empty: none; null: it is not called
    const wchar_t* pValue;    ///< the parameter "v" in that character set
};

TEST(HttpServerExtension, TellsTheApplicationTheCharacterSetOfItsParameters) {
    const PostCase tCases[] = {
        {"application/x-www-form-urlencoded", "v=%C3%A9+x", L"", L"\u00e9 x"},
        {"Application/X-www-form-urlencoded; CHARSET=\"ISO-8859-1\"", "v=%80", L"ISO-8859-1", L"\u20ac"},
        {"application/x-www-form-urlencoded;charset=shift_jis", "v=%93%FA", L"shift_jis", L"\u65e5"},
        {"application/x-www-form-urlencoded; charset=utf-32", "v=x", nullptr, nullptr},
        {"application/xml; charset=no-such", "v=x", L"", L"x"},
        {nullptr, "v=x", L"", L"x"},
    };
    for (const PostCase& c : tCases) {
        ScriptedApplication tApplication;
        FakeRequestProvider tRequest;
        if (c.pContentType) tRequest.tHeaders = {{"Content-Type", c.pContentType}};
        bool bCalled = false;
        tApplication.fPost = [&](ZQHttpStream&, const HttpApplicationRequest& r) {
            bCalled = true;
            const ZQWString sLabel =
                r.hParameterCharset.isNull() ? ZQWString() : r.hParameterCharset->getEncodingLabel();
            EXPECT_EQ(sLabel, c.pCharset);
            EXPECT_EQ(QueryParameters(r.sBody, r.hParameterCharset).get(L"v"), c.pValue);
            return ScriptedApplication::kOK;
        };
        EXPECT_EQ(post(tApplication, tRequest, c.pBody),
                  c.pCharset ? "setStatusCode 200" : "setErrorStatusCode 400");
        EXPECT_EQ(bCalled, c.pCharset != nullptr) << c.pBody;
    }
}

TEST(HttpServerExtension, RefusesPostAndSoapOfAnApplicationThatHasNeither) {
    class OnlyGet final : public HttpApplication {
    public:
        EStatus get(ZQHttpStream&, const HttpApplicationRequest&) override { return kOK; }
    };
    for (const char* pQuery : {"", "soap"}) {
        OnlyGet tApplication;
        FakeRequestProvider tRequest;
        tRequest.sQuery = pQuery;
        EXPECT_EQ(post(tApplication, tRequest, "x"), "setErrorStatusCode 400") << pQuery;
    }
}

}  // namespace
