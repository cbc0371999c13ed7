#pragma once

#include "zq/foundation/exception.h"

namespace webcontainer {

/// A request body that did not come as it was announced: leaves readFromBody(), so that a body cut short
/// never looks complete.
class BodyError : public Exception {
public:
    enum class EReason {
        kTruncated,  ///< the client went away before the end
        kMalformed,  ///< the chunks are none (RFC 9112 section 7.1)
        kTimeout,    ///< the client sends too slowly or not at all
        kStopping,   ///< the server gives up on requests in flight
    };

    explicit BodyError(EReason eReason);
    BodyError* clone() const override;
    EReason getReason() const noexcept { return m_eReason; }

private:
    const EReason m_eReason;
};

}  // namespace webcontainer
