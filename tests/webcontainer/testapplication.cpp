#include <unistd.h>

#include <stdexcept>

#include "zq/httpextension/httpapplication.h"

// The build makes several libraries of this file: a good one, and for each fault one that has it.

namespace {

class TestApplication final : public HttpApplication {
public:
    TestApplication() {
        if constexpr (TEST_APPLICATION_THROWS) throw std::runtime_error("no database");
    }

    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        if (rRequest.sQueryString.view() == "throw") throw std::runtime_error("no luck");
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

extern "C" ZQ_EXPORT HttpApplication* zqCreateHttpApplication();
extern "C" HttpApplication* zqCreateHttpApplication() {
    return TEST_APPLICATION_NULL ? nullptr : new TestApplication;
}
