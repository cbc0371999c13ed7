#include "zq/httpstream/queryparameters.h"
#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

namespace {

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
        MemoryRequest tRequest{.sMethod = "POST", .tBody = {c.pBody}};
        if (c.pContentType) tRequest.tHeaders = {{"Content-Type", c.pContentType}};
        bool bCalled = false;
        MemoryHost tHost([&](ZQHttpStream&, const HttpApplicationRequest& r) {
            bCalled = true;
            const ZQWString sLabel =
                r.hParameterCharset.isNull() ? ZQWString() : r.hParameterCharset->getEncodingLabel();
            EXPECT_EQ(sLabel, c.pCharset);
            EXPECT_EQ(QueryParameters(r.sBody, r.hParameterCharset).get(L"v"), c.pValue);
            return HttpApplication::kOK;
        });
        EXPECT_THAT(tHost.run(tRequest), HasStatus(c.pCharset ? 200 : 400));
        EXPECT_EQ(bCalled, c.pCharset != nullptr) << c.pBody;
    }
}

TEST(HttpServerExtension, RefusesPostAndSoapOfAnApplicationThatHasNeither) {
    class OnlyGet final : public HttpApplication {
    public:
        EStatus get(ZQHttpStream&, const HttpApplicationRequest&) override { return kOK; }
    };
    for (const char* pTarget : {"/", "/?soap"}) {
        OnlyGet tApplication;
        EXPECT_THAT(MemoryHost(tApplication).run(MemoryRequest::form(pTarget, "x")), HasStatus(400))
            << pTarget;
    }
}

}  // namespace
