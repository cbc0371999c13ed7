#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "zq/httpextension/httpapplication.h"

// The build makes several libraries of this file: a good one, and for each fault one that has it.

namespace {

/// Uses up the stack.
int recurse(int n) {  // NOLINT(misc-no-recursion)
    volatile char tUsed[4096];
    tUsed[0] = static_cast<char>(n);
    return n < 0 ? n : recurse(n + 1) + tUsed[0];
}

/// Ends the process in the way that the query names, if it does.
__attribute__((no_sanitize("undefined"))) void misbehave(std::string_view sHow) {
    static int* volatile s_pNowhere = nullptr;
    if (sHow == "null") *s_pNowhere = 1;
    if (sHow == "abort") std::abort();
    if (sHow == "thread") std::thread([] { throw std::runtime_error("lost"); }).join();
    if (sHow == "exit") std::exit(0);
    if (sHow == "quick_exit") std::quick_exit(0);
    if (sHow == "recurse") recurse(0);
}

class TestApplication final : public HttpApplication {
public:
    TestApplication() {
        if (::getenv("TEST_EXIT")) std::exit(0);  // NOLINT(concurrency-mt-unsafe)
        if constexpr (TEST_APPLICATION_THROWS) throw std::runtime_error("no database");
    }

    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        misbehave(rRequest.sQueryString.view().substr(0, rRequest.sQueryString.view().find('&')));
        if (rRequest.sQueryString.view() == "throw") throw std::runtime_error("no luck");
        if (rRequest.sQueryString.view().starts_with("count")) {
            static std::atomic<int> s_nCount{0};
            const bool bLong = FeatureExpr<bool>(L"Long").evaluate(*rStream.getFeatureTable());
            rStream.setExpireSeconds(bLong ? 2000 : 1000);
            if (rRequest.sQueryString.view() == "count&late") ::sleep(4);
            rStream.addText(std::to_wstring(++s_nCount));
        }
        rStream.addText(L"hello");
        if (rRequest.sQueryString.view() == "hang") {
            rStream.Flush();
            ::sleep(60);
        }
        return kOK;
    }
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        ZQHttpStream::Param tField;
        if (ZQWString sType; rStream.getRequestHeader(L"Content-Type", sType))
            rStream.getFirstParam(tField, CharacterSet::utf8());
        rStream.writeBinary(rRequest.sBody.m_p, rRequest.sBody.length());
        return kOK;
    }
};

}  // namespace

#ifdef TEST_APPLICATION_CONTRACT
extern "C" ZQ_EXPORT const HttpApplicationRecord zqHttpApplicationRecord;
extern "C" const HttpApplicationRecord zqHttpApplicationRecord{TEST_APPLICATION_CONTRACT, "0.9.1", ""};
#else
ZQ_HTTP_APPLICATION_RECORD
#endif
extern "C" ZQ_EXPORT HttpApplication* zqCreateHttpApplication();
extern "C" HttpApplication* zqCreateHttpApplication() {
    return TEST_APPLICATION_NULL ? nullptr : new TestApplication;
}
