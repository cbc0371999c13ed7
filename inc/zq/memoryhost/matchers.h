#pragma once

#include <gmock/gmock.h>

#include <ostream>

#include "zq/memoryhost/memoryresponse.h"

/// What GoogleTest prints of a response that did not match.
inline void PrintTo(const MemoryResponse& rResponse, std::ostream* pStream) {
    *pStream << '\n' << rResponse.describe();
}

// Matchers of a MemoryResponse. A value or a matcher may stand for each part, as HasStatus(200),
// HasStatus(Ge(400)), HasBody(HasSubstr("World")). All of them fail on a response with breaches of the
// contract.

/// The module and the application called the providers as they may.
MATCHER(KeepsContract, "") {
    return testing::ExplainMatchResult(testing::IsEmpty(), arg.tBreaches, result_listener);
}

MATCHER_P(HasStatus, tStatus, "") {
    return testing::ExplainMatchResult(KeepsContract(), arg, result_listener) &&
           testing::ExplainMatchResult(tStatus, arg.nStatus, result_listener);
}

/// A header of that name, letter case aside, with such a value.
MATCHER_P2(HasHeader, sName, tValue, "") {
    return testing::ExplainMatchResult(KeepsContract(), arg, result_listener) &&
           testing::ExplainMatchResult(testing::Contains(tValue), arg.getValues(sName), result_listener);
}

MATCHER_P(HasBody, tBody, "") {
    return testing::ExplainMatchResult(KeepsContract(), arg, result_listener) &&
           testing::ExplainMatchResult(tBody, arg.sBody, result_listener);
}

/// The client got everything.
MATCHER(IsWhole, "") {
    return testing::ExplainMatchResult(KeepsContract(), arg, result_listener) && arg.isWhole();
}

/// An exception with such a message left the module: a host answers with an error, or cuts the response off
/// when the client has some of it.
MATCHER_P(IsAborted, tMessage, "") {
    return testing::ExplainMatchResult(KeepsContract(), arg, result_listener) && arg.pException &&
           testing::ExplainMatchResult(tMessage, arg.sException, result_listener);
}
