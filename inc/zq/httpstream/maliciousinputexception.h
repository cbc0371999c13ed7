#pragma once

#include "zq/foundation/exception.h"

namespace http {

/// A request carries what no honest client sends. Thrown by an application or a provider; the client is
/// answered with 403 and nothing of the message.
class ZQ_EXPORT MaliciousInputException : public Exception {
public:
    explicit MaliciousInputException(const GDValue& rMessage);
    MaliciousInputException* clone() const override;
};

}  // namespace http
