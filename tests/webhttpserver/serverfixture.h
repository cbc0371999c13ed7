#pragma once

#include "kivserverstream.h"
#include "support/fakerequestprovider.h"
#include "support/fakeresponseprovider.h"
#include "support/scriptedapplication.h"
#include "zq/services/performancecounters.h"
#include "zq/webhttpserver/kivhttpserver.h"

/// A server with an application of the test's, and one request to send through it.
struct ServerFixture {
    ScriptedApplication tApplication;
    HttpServerInitContext tContext{tApplication};
    kiv::KIVHttpServer tServer{tContext};
    CallLog tLog;
    FakeRequestProvider tRequest{&tLog};
    FakeResponseProvider tResponse{&tLog};

    void run() { tServer.processRequest(tRequest, tResponse); }
};

/// A stream over two test doubles.
struct StreamFixture {
    CallLog tLog;
    FakeRequestProvider tRequest{&tLog};
    FakeResponseProvider tResponse{&tLog};
    kiv::KIVServerHttpStream tStream{tRequest, tResponse, Handle<GDExpressionEvaluator>()};
};

/// By how much a counter has risen since this object was made.
class CounterChange {
public:
    explicit CounterChange(const char* pName) : m_tInfo(performance::CounterRegistry::find(pName)) {}
    int get() const { return m_tInfo.getValue() - m_nStart; }
    int getCompanion() const { return m_tInfo.getCompanion(); }

private:
    performance::CounterInfo m_tInfo;
    int m_nStart = m_tInfo.getValue();
};

struct RequestCounters {
    CounterChange tCurrent{"HttpServer/CurrentRequests"};
    CounterChange tCompleted{"HttpServer/CompletedRequests"};
    CounterChange tBad{"HttpServer/BadRequests"};
    CounterChange tFailed{"HttpServer/FailedRequests"};
};
