#pragma once

#include "zq/foundation/exception.h"

namespace http {

/// A request carries what no honest client sends. Thrown by an application or a provider; the client is
/// answered with 403 and nothing of the message.
class ZQ_EXPORT MaliciousInputException : public ClonedException<MaliciousInputException> {
public:
    explicit MaliciousInputException(const GDValue& rMessage);
};

}  // namespace http
