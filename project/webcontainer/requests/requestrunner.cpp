#include "requests/requestrunner.h"

#include <limits>

#include "base/monotonicclock.h"
#include "log/containerlog.h"
#include "requests/bodyerror.h"
#include "requests/requestprovider.h"
#include "requests/requestrecord.h"
#include "requests/requestwatch.h"
#include "requests/responseprovider.h"
#include "zq/foundation/inputstream.h"
#include "zq/httpstream/multiparterrors.h"
#include "zq/httpstream/queryparameters.h"

namespace webcontainer {

namespace {

using EResponseCode = kiv::HttpResponseProvider::EResponseCode;

constexpr Refusal s_tInternalError{500, "the server failed"};

std::int64_t deadlineAfter(std::size_t nTimeoutMs) {
    if (nTimeoutMs == 0) return std::numeric_limits<std::int64_t>::max();
    return monotonicMs() + static_cast<std::int64_t>(nTimeoutMs);
}

}  // namespace

EOutcome RequestRunner::run(RequestContext& rContext) {
    RequestWatch tWatch(rContext);
    rContext.rInput.settle();
    tWatch.show();
    const EOutcome eOutcome = serve(rContext);
    if (eOutcome != EOutcome::kAbort) tWatch.setWhole();
    return eOutcome;
}

EOutcome RequestRunner::serve(RequestContext& rContext) {
    rContext.nDeadline = deadlineAfter(m_rHandler.getResponseTimeoutMilliSeconds());
    BodyReader tBody(rContext.rInput, rContext.rSocket, rContext.rLimits);
    const RequestHead& rHead = rContext.rInput.getHead();
    const Refusal tOwn = judgeMethod(rContext.rInput.text(rHead.tMethod), rContext.rInput.text(rHead.tTarget),
                                     rContext.rRules.tMethods);
    if (tOwn.nStatus != 0) return refuse(rContext, tOwn, rContext.keepsConnection() && tBody.finish());
    RequestProvider tRequest(rContext, tBody);
    if (!rContext.rBuffers.tRecords.isNext()) [[likely]]
        return serve(rContext, tBody, tRequest, nullptr);
    RequestRecord tRecord(rContext, tRequest);
    const EOutcome eOutcome = serve(rContext, tBody, tRequest, &tRecord);
    tRecord.end(eOutcome != EOutcome::kAbort);
    return eOutcome;
}

EOutcome RequestRunner::serve(RequestContext& rContext, BodyReader& rBody, RequestProvider& rRequest,
                              RequestRecord* pRecord) {
    ResponseProvider tResponse(rContext, rBody);
    const Failure tFailure = process(rRequest, tResponse, pRecord);
    // What the client did to its own response has been logged, and nobody is left to be told of the rest.
    const bool bClientDead = tResponse.getFailure() == EResponseCode::kRCClientDead;
    if (tFailure.tAnswer.nStatus != 0 && !bClientDead) logFailure(rContext, tFailure);
    if (tResponse.isWhole()) return tResponse.keepsConnection() ? EOutcome::kKeep : EOutcome::kLinger;
    if (bClientDead || tResponse.isHeadOut()) return EOutcome::kAbort;
    return answer(rContext, tFailure.tAnswer.nStatus != 0 ? tFailure.tAnswer : s_tInternalError, false);
}

/// Hands the request to the handler; pRecord, unless null, gets what they say to each other.
void RequestRunner::callHandler(RequestProvider& rRequest, ResponseProvider& rResponse,
                                RequestRecord* pRecord) {
    if (!pRecord) return m_rHandler.processRequest(rRequest, rResponse);
    RecordedRequest tRequest(rRequest, *pRecord);
    RecordedResponse tResponse(rResponse, *pRecord);
    try {
        m_rHandler.processRequest(tRequest, tResponse);
    } catch (...) {
        pRecord->addException(Recording::ECall::kException);
        throw;
    }
}

RequestRunner::Failure RequestRunner::process(RequestProvider& rRequest, ResponseProvider& rResponse,
                                              RequestRecord* pRecord) {
    try {
        callHandler(rRequest, rResponse, pRecord);
        if (rResponse.isEnded()) return {};
        return {s_tInternalError, "the response was not ended", kSevError};
    } catch (const Exception& e) {
        return classify(e);
    } catch (const std::exception& e) {
        return {s_tInternalError, e.what(), kSevError};
    } catch (...) {
        return {s_tInternalError, "an exception of an unknown kind", kSevError};
    }
}

RequestRunner::Failure RequestRunner::classify(const Exception& rException) const {
    const std::string sDetail = webcontainer::describe(rException);
    if (m_rHandler.isBodyLimit(rException)) return {{413, "the body is too long"}, sDetail, kSevInfo};
    if (const auto* const pBody = dynamic_cast<const BodyError*>(&rException))
        return {pBody->getAnswer(), sDetail, kSevInfo};
    if (dynamic_cast<const InputStream::UnexpectedEOF*>(&rException))
        return {{408, "the body did not come in time"}, sDetail, kSevInfo};
    if (dynamic_cast<const MultipartError*>(&rException))
        return {{400, "a multipart body that is malformed or exceeds a limit"}, sDetail, kSevInfo};
    if (dynamic_cast<const QueryParameters::TooManyParameters*>(&rException))
        return {{400, "too many parameters"}, sDetail, kSevInfo};
    return {s_tInternalError, sDetail, kSevError};
}

void RequestRunner::logFailure(RequestContext& rContext, const Failure& rFailure) const {
    if (!isLogged(rFailure.eSeverity, s_lsRequest)) return;
    logText(rFailure.eSeverity, s_lsRequest,
            rContext.describe() + ": " + std::to_string(rFailure.tAnswer.nStatus) + ": " + rFailure.sDetail);
}

EOutcome RequestRunner::refuse(RequestContext& rContext, const Refusal& rRefusal) {
    RequestWatch tWatch(rContext);
    tWatch.show();
    rContext.nDeadline = std::numeric_limits<std::int64_t>::max();
    const EOutcome eOutcome = refuse(rContext, rRefusal, false);
    if (eOutcome != EOutcome::kAbort) tWatch.setWhole();
    return eOutcome;
}

EOutcome RequestRunner::refuse(RequestContext& rContext, const Refusal& rRefusal, bool bKeep) {
    if (rRefusal.nStatus >= 400) {
        rContext.rStatistics.countRefused(rRefusal.nStatus, rRefusal.pReason);
        logFailure(rContext, {rRefusal, rRefusal.pReason, kSevInfo});
    }
    if (rContext.rBuffers.tRecords.isNext()) recordRefusal(rContext, rRefusal);
    return answer(rContext, rRefusal, bKeep);
}

EOutcome RequestRunner::answer(RequestContext& rContext, const Refusal& rRefusal, bool bKeep) {
    ResponseBuffers& rBuffers = rContext.rBuffers;
    NarrowStringBuffer tBody;
    rBuffers.tHead.clear();
    if (rRefusal.nRetrySeconds != 0)
        rBuffers.tHead.addField("Retry-After", std::to_string(rRefusal.nRetrySeconds));
    if (rRefusal.nStatus == 200 || rRefusal.nStatus == 405)
        rBuffers.tHead.addField("Allow", rContext.rRules.tMethods.getAllowed());
    if (rRefusal.nStatus != 200) {
        rContext.tellError(tBody, rRefusal.nStatus, rRefusal.pReason);
        rBuffers.tHead.addField("Cache-Control", "no-store");
    }
    rBuffers.tWire.clear();
    const bool bSayKeep = rContext.rInput.getHead().eVersion == EVersion::k10;
    rBuffers.tHead.append(rBuffers.tWire,
                          {rRefusal.nStatus, EResponseFraming::kLength, tBody.length(), bKeep, bSayKeep},
                          rBuffers.tDate.now(), rContext.rRules.sServerField);
    if (!rContext.rInput.getHead().bHead) rBuffers.tWire.append(tBody.view());
    iovec tPiece{const_cast<char*>(rBuffers.tWire.data()), rBuffers.tWire.length()};
    Patience tPatience = rContext.patience();
    tPatience.nDeadline = std::numeric_limits<std::int64_t>::max();
    const bool bSent = rContext.send({&tPiece, 1}, tPatience, rRefusal.nStatus) == ClientSocket::ESent::kSent;
    if (!bSent) return EOutcome::kAbort;
    return bKeep ? EOutcome::kKeep : EOutcome::kLinger;
}

}  // namespace webcontainer
