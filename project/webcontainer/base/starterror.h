#pragma once

#include <string>

#include "zq/foundation/exception.h"

namespace webcontainer {

/// The server cannot start. The message is one line for the operator: what is wrong, and what to do about it.
class StartError : public ClonedException<StartError> {
public:
    explicit StartError(const std::string& sWhat);
};

[[noreturn]] void throwStartError(const std::string& sWhat);
/// The text of an errno value as it stands within a sentence: "address already in use".
std::string describeError(int nErrno);

}  // namespace webcontainer
