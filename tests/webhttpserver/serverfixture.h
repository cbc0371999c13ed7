#pragma once

#include <functional>

#include "kivserverstream.h"
#include "memoryrequestprovider.h"
#include "memoryresponseprovider.h"
#include "support/recorders.h"
#include "support/scriptedapplication.h"
#include "zq/services/performancecounters.h"
#include "zq/webhttpserver/kivhttpserver.h"

/// A server, one request to send through it, and an application that logs how it was called: which entry
/// point, the query and where the body is. It answers 204 and then does what the test says.
struct ServerFixture {
    using EStatus = HttpServerExtension::EStatus;

    CallLog tLog;
    FakeRequestProvider tRequest{&tLog};
    FakeResponseProvider tResponse{&tLog};
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
    void run() { tServer.processRequest(tRequest, tResponse); }
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
            logCall(&tLog, pEntry, r.sQueryString.view(), "'", sBody);
            rStream.setStatusCode(204);
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

/// A stream over two test doubles.
struct StreamFixture {
    CallLog tLog;
    FakeRequestProvider tRequest{&tLog};
    FakeResponseProvider tResponse{&tLog};
    kiv::KIVServerHttpStream tStream{tRequest, tResponse, Handle<GDExpressionEvaluator>()};
};

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
