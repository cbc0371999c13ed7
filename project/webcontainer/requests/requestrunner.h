#pragma once

#include <string>
#include <string_view>

#include "requests/requestcontext.h"
#include "requests/requesthandler.h"
#include "zq/services/logger.h"

namespace webcontainer {

class RequestProvider;
class RequestRecord;
class ResponseProvider;

/// What is to become of a connection after a request.
enum class EOutcome {
    kKeep,    ///< it serves the next request
    kLinger,  ///< sending ends; what still comes is dropped for a while, then it is closed (RFC 9112, 9.6)
    kAbort,   ///< it is reset, so that the client can tell a response cut short from a whole one
};

/// Runs one request after the other through the handler, and answers in its place where it fails.
class RequestRunner {
public:
    /// rHandler must outlive the runner.
    explicit RequestRunner(RequestHandler& rHandler) noexcept : m_rHandler(rHandler) {}

    /// Runs the request that the context's input is ready with, if its method is the handler's; sets the
    /// context's deadline.
    EOutcome run(RequestContext& rContext);
    /// Answers a request that is not run.
    EOutcome refuse(RequestContext& rContext, const Refusal& rRefusal);

private:
    /// Why a request failed: what the client is told, and what else stands in the log.
    struct Failure {
        Refusal tAnswer;  ///< status 0: it did not fail
        std::string sDetail;
        ELogSeverity eSeverity = kSevError;
    };

    void callHandler(RequestProvider& rRequest, ResponseProvider& rResponse, RequestRecord* pRecord);
    Failure process(RequestProvider& rRequest, ResponseProvider& rResponse, RequestRecord* pRecord);
    Failure classify(const Exception& rException) const;
    void logFailure(RequestContext& rContext, const Failure& rFailure) const;
    EOutcome serve(RequestContext& rContext);
    EOutcome serve(RequestContext& rContext, BodyReader& rBody, RequestProvider& rRequest,
                   RequestRecord* pRecord);
    EOutcome refuse(RequestContext& rContext, const Refusal& rRefusal, bool bKeep);
    EOutcome answer(RequestContext& rContext, const Refusal& rRefusal, bool bKeep);

    RequestHandler& m_rHandler;
};

}  // namespace webcontainer
