#include "zq/memoryhost/recorded.h"

#include <algorithm>

using ECall = Recording::ECall;
using EResponseCode = kiv::HttpResponseProvider::EResponseCode;

MemoryRequest toMemoryRequest(const Recording& rRecording) {
    MemoryRequest tRequest{.sMethod = rRecording.sSeenMethod, .sTarget = rRecording.sTarget};
    tRequest.tHeaders = rRecording.tHeaders;
    tRequest.tVariables.insert(rRecording.tVariables.begin(), rRecording.tVariables.end());
    tRequest.nContentLength = rRecording.nLength ? *rRecording.nLength : MemoryRequest::knUndeclared;
    for (const Recording::Event& r : rRecording.tEvents) {
        if (r.eCall == ECall::kBody) tRequest.tBody.push_back(r.sBytes);
        if (r.eCall == ECall::kBodyFailed) tRequest.bVanishes = true;
        if (r.eCall == ECall::kCommit || r.eCall == ECall::kWrite || r.eCall == ECall::kEnd)
            tRequest.tResults.insert(tRequest.tResults.end(), r.nCalls,
                                     static_cast<EResponseCode>(r.nResult));
    }
    return tRequest;
}

MemoryResponse toMemoryResponse(const Recording& rRecording) {
    MemoryResponse tResponse;
    bool bTried = false, bOmitted = false;
    for (const Recording::Event& r : rRecording.tEvents) {
        switch (r.eCall) {
            case ECall::kBody:
            case ECall::kBodyFailed:
                continue;
            case ECall::kStatus:
            case ECall::kErrorStatus:
                tResponse.nStatus = static_cast<unsigned>(r.nNumber);
                tResponse.bError = r.eCall == ECall::kErrorStatus;
                continue;
            case ECall::kAnnounce:
                tResponse.nContentLength = r.nNumber;
                continue;
            case ECall::kAdd:
                if (!bTried) tResponse.tHeaders.emplace_back(r.sName, r.sBytes);
                continue;
            case ECall::kClear:
                if (!bTried) tResponse.tHeaders.clear();
                continue;
            case ECall::kException:
                tResponse.sException = r.sBytes;
                continue;
            default:
                break;
        }
        tResponse.eResult = static_cast<EResponseCode>(r.nResult);
        if (r.eCall == ECall::kCommit) {
            bTried = true;
            tResponse.bCommitted = r.nResult == kiv::HttpResponseProvider::kRCOK;
            continue;
        }
        tResponse.bEnded = tResponse.bEnded || r.eCall == ECall::kEnd;
        bOmitted = bOmitted || r.bOmitted;
        if (!bOmitted && r.nResult == kiv::HttpResponseProvider::kRCOK) tResponse.sBody += r.sBytes;
    }
    return tResponse;
}
