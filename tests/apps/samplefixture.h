#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <memory>

#include "memoryrequestprovider.h"
#include "memoryresponseprovider.h"
#include "zq/webhttpserver/kivhttpserver.h"

extern "C" HttpApplication* zqCreateHttpApplication();

/// The sample application behind the module, and what came of the last request to it.
struct SampleFixture {
    std::unique_ptr<HttpApplication> pApplication{zqCreateHttpApplication()};
    HttpServerInitContext tContext{*pApplication};
    kiv::KIVHttpServer tServer{tContext};
    std::map<std::string, std::string> tVariables;              ///< of every request, beside its own
    std::vector<std::pair<std::string, std::string>> tHeaders;  ///< the same
    CallLog tLog;
    std::string sBody;

    static inline const std::string s_ksGood = "setStatusCode 200", s_ksMoved = "setStatusCode 302",
                                    s_ksBad = "setErrorStatusCode 400",
                                    s_ksMissing = "setErrorStatusCode 404";

    /// Returns the last call that set the status.
    std::string run(FakeRequestProvider& rRequest) {
        rRequest.tHeaders.insert(rRequest.tHeaders.end(), tHeaders.begin(), tHeaders.end());
        tLog.clear();
        FakeResponseProvider tResponse(&tLog);
        tServer.processRequest(rRequest, tResponse);
        sBody = tResponse.sBody;
        const auto fIsStatus = [](const auto& s) { return s.find("StatusCode ") != s.npos; };
        const auto it = std::find_if(tLog.rbegin(), tLog.rend(), fIsStatus);
        return it == tLog.rend() ? "no status" : *it;
    }
    /// sTarget: path and query.
    std::string get(const std::string& sTarget) {
        const std::size_t nQuery = sTarget.find('?');
        FakeRequestProvider tRequest;
        tRequest.tVariables = tVariables;
        tRequest.tVariables["URL"] = sTarget.substr(0, nQuery);
        if (nQuery != sTarget.npos) tRequest.sQuery = sTarget.substr(nQuery + 1);
        return run(tRequest);
    }
    /// What follows that text in the body, up to the next quotation mark, each time.
    std::vector<std::string> findAll(const std::string& sStart) const {
        std::vector<std::string> tFound;
        for (std::size_t n = 0; (n = sBody.find(sStart, n)) != sBody.npos;) {
            n += sStart.size();
            tFound.push_back(sBody.substr(n, sBody.find('"', n) - n));
        }
        return tFound;
    }
};
