#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "zq/httpstream/zqhttpstream.h"

namespace kit {

/// What tells one state of a file from another (RFC 9110 section 8.8).
struct Validators {
    std::wstring sTag;      ///< opaque, in quotes, without "W/"
    std::time_t nModified;  ///< seconds since 1970-01-01 UTC, not in the future
    bool bStrong;           ///< the file cannot have changed since without a new tag and a new time
};

enum class EPrecondition {
    kHolds,
    kNotModified,  ///< 304
    kFailed,       ///< 412
};

/// Evaluates the conditions of a GET in the order of RFC 9110 section 13.2.2, If-Range aside.
EPrecondition evaluateConditions(ZQHttpStream& rStream, const Validators& rValidators);

/// The part of a file that a request wants.
struct WantedRange {
    enum EKind { kWhole, kPart, kUnsatisfiable } eKind = kWhole;
    std::uint64_t nFirst = 0;  ///< the first byte, from 0
    std::uint64_t nCount = 0;  ///< bytes
};

/// Reads Range and If-Range (RFC 9110 sections 14.2 and 13.1.5) for a file of that many bytes.
WantedRange readRange(ZQHttpStream& rStream, const Validators& rValidators, std::uint64_t nSize);

/// Which of two content codings a request prefers, for files that are there in both: its weights, in
/// thousandths; 0 for one that it does not accept, or likes less than none (RFC 9110 section 12.5.3).
struct CodingWeights {
    int nBrotli = 0;
    int nGzip = 0;
};
CodingWeights readAcceptEncoding(ZQHttpStream& rStream);

}  // namespace kit
