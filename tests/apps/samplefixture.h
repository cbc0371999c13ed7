#pragma once

#include <algorithm>
#include <map>
#include <memory>

#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

extern "C" HttpApplication* zqCreateHttpApplication();

/// The sample application behind the module, and what came of the last request to it.
struct SampleFixture {
    std::unique_ptr<HttpApplication> pApplication{zqCreateHttpApplication()};
    MemoryHost tHost{*pApplication};
    std::map<std::string, std::string> tVariables;  ///< of every request
    MemoryRequest::Fields tHeaders;                 ///< the same, beside its own
    MemoryResponse tResponse;
    const MemoryRequest::Calls& tLog = tResponse.tCalls;
    const std::string& sBody = tResponse.sBody;

    static inline const std::string s_ksGood = "setStatusCode 200", s_ksMoved = "setStatusCode 302",
                                    s_ksBad = "setErrorStatusCode 400",
                                    s_ksMissing = "setErrorStatusCode 404";

    /// Returns the call that set the status. An exception goes on to the caller.
    std::string run(MemoryRequest tRequest) {
        tRequest.tHeaders.insert(tRequest.tHeaders.end(), tHeaders.begin(), tHeaders.end());
        tRequest.tVariables = tVariables;
        tResponse = tHost.run(tRequest);
        EXPECT_THAT(tResponse, KeepsContract());
        if (tResponse.pException) std::rethrow_exception(tResponse.pException);
        return (tResponse.bError ? "setErrorStatusCode " : "setStatusCode ") +
               std::to_string(tResponse.nStatus);
    }
    std::string get(const std::string& sTarget) { return run({.sTarget = sTarget}); }
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
