#pragma once

#include "http/requesthead.h"
#include "zq/foundation/exception.h"

namespace webcontainer {

// The same faults have the same answers before the request runs and while it does.
inline constexpr Refusal s_tBodyTruncated{400, "the body ended early"};
inline constexpr Refusal s_tBodyTooSlow{408, "the body came too slowly"};

/// A request body that did not come as it was announced: leaves readFromBody(), so that a body cut short
/// never looks complete. Its message is the reason that the client is told.
class BodyError : public ClonedException<BodyError> {
public:
    explicit BodyError(const Refusal& rAnswer);
    const Refusal& getAnswer() const noexcept { return m_tAnswer; }

private:
    const Refusal m_tAnswer;
};

}  // namespace webcontainer
