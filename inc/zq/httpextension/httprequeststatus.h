#pragma once

#include "zq/foundation/zqexport.h"

/// What became of a request, as an application reports it; a base class, so that applications and extensions
/// have the names at hand.
struct ZQ_EXPORT HttpRequestStatus {
    enum EStatus : int {
        kOK = 0,                ///< answered: the status that the application set stands (200 if none)
        kParamRequired = 1,     ///< 400
        kBadParamCount = 2,     ///< 400
        kBadCommand = 3,        ///< 404
        kBadRequest = 4,        ///< 400
        kServerInitFailed = 5,  ///< 500
        kUnknownError = 6,      ///< 500
        kNoStream = 7,          ///< 500
        kMissingParams = 8,     ///< 500
        kBadParam = 9,          ///< 400
        kMaliciousInput = 10,   ///< 403
    };
};
