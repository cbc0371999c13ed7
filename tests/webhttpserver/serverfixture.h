#pragma once

#include <gmock/gmock.h>

#include <functional>

#include "kivserverstream.h"
#include "support/recorders.h"
#include "support/scriptedapplication.h"
#include "zq/memoryhost/memoryexchange.h"
#include "zq/services/performancecounters.h"
#include "zq/webhttpserver/kivhttpserver.h"

/// A server, one request to send through it, and an application that logs how it was called: which entry
/// point, the query and where the body is. It answers 202 and then does what the test says.
struct ServerFixture {
    using EStatus = HttpServerExtension::EStatus;

    MemoryRequest tRequest;
    MemoryResponse tResponse;
    MemoryRequest::Calls& tLog = tResponse.tCalls;
    std::function<EStatus(ZQHttpStream&)> fAct = [](auto&) { return ScriptedApplication::kOK; };
    bool bReturned = false;  ///< the application has
    ScriptedApplication tApplication;
    HttpServerInitContext tContext{tApplication};
    kiv::KIVHttpServer tServer{tContext};

    ServerFixture() {
        tApplication.fGet = answer("GET '");
        tApplication.fPost = answer("POST '");
        tApplication.fSoap = answer("SOAP '");
    }
    void run() {
        MemoryExchange tExchange(tRequest, tResponse);
        tServer.processRequest(tExchange.getRequest(), tExchange.getResponse());
        tExchange.finish();
        EXPECT_THAT(tResponse.tBreaches, testing::IsEmpty());
    }
    /// A call of the application's.
    void log(const std::string& sCall) {
        tLog.push_back(sCall);
        if (tRequest.fOnCall) tRequest.fOnCall(tLog);
    }
    /// All calls, in one line.
    std::string calls() const {
        std::string s;
        for (const std::string& sCall : tLog)
            s.append(s.empty() ? "" : ", ").append(sCall);
        return s;
    }

private:
    ScriptedApplication::Answer answer(const char* pEntry) {
        return [this, pEntry](ZQHttpStream& rStream, const HttpApplicationRequest& r) {
            std::string sBody;
            if (r.bBodyInStream)
                sBody = " in stream " + std::to_string(static_cast<long>(r.nDeclaredLength));
            else if (r.sBody.m_p)
                sBody = (*r.sBody.m_pe ? " unterminated '" : " '") + std::string(r.sBody.view()) + "'";
            log(pEntry + std::string(r.sQueryString.view()) + "'" + sBody);
            rStream.setStatusCode(202);
            const EStatus eStatus = fAct(rStream);
            bReturned = true;
            return eStatus;
        };
    }
};

/// What a copy of an exception must have in common with it.
inline std::string describe(const Exception& r) {
    return typeid(r).name() + (": " + toUtf8(r.getMessageText()));
}

/// A stream between providers in memory.
struct StreamFixture {
    MemoryRequest tRequest = {};
    MemoryResponse tResponse = {};
    MemoryRequest::Calls& tLog = tResponse.tCalls;
    MemoryExchange tExchange{tRequest, tResponse};
    kiv::KIVServerHttpStream tStream{tExchange.getRequest(), tExchange.getResponse(),
                                     Handle<GDExpressionEvaluator>()};

    ~StreamFixture() { EXPECT_THAT(tResponse.tBreaches, testing::IsEmpty()); }
};

/// Lets the call of index n throw.
inline auto throwAt(std::size_t n, const std::exception_ptr& pFailure) {
    return [=](const MemoryRequest::Calls& rCalls) {
        if (rCalls.size() == n + 1) std::rethrow_exception(pFailure);
    };
}

/// By how much the counters of requests have risen since this object was made.
class RequestCounters {
public:
    /// "completed 1, bad 0, failed 0, current 0"
    std::string rise() const {
        std::string s;
        for (const Counter& r : m_tCounters)
            s.append(s.empty() ? "" : ", ").append(r.pName) +=
                ' ' + std::to_string(r.tInfo.getValue() - r.nStart);
        return s;
    }

private:
    struct Counter {
        const char* pName;
        performance::CounterInfo tInfo;
        int nStart = tInfo.getValue();
    };
    static performance::CounterInfo find(const char* pName) {
        return performance::CounterRegistry::find(pName);
    }

    const Counter m_tCounters[4] = {{"completed", find("HttpServer/CompletedRequests")},
                                    {"bad", find("HttpServer/BadRequests")},
                                    {"failed", find("HttpServer/FailedRequests")},
                                    {"current", find("HttpServer/CurrentRequests")}};
};
