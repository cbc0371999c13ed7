#pragma once

#include <ctime>

#include "exchange/filestore.h"
#include "shutdownsignal.h"
#include "zq/httpextension/httpapplication.h"
#include "zq/httpstream/queryparameters.h"

namespace sample {

using EStatus = HttpRequestStatus::EStatus;

/// What a page is given. All of it outlives the page.
struct PageRequest {
    ZQHttpStream& rStream;
    const ZQWString& sPath;
    const HttpApplicationRequest& rRequest;  ///< query string and body, as they came
    const QueryParameters& rQuery;
    const FileStore& rFiles;
    ShutdownSignal& rShutdown;
    std::time_t nStarted;  ///< when the application started, in seconds since 1970-01-01 UTC
};

/// Answers one request. Whatever it throws ends the request.
using Page = EStatus (*)(const PageRequest& rRequest);

}  // namespace sample
