#pragma once

namespace webcontainer {

/// What the front end does by itself for its clients, beyond its limits. Constant while it serves.
struct ServingRules {
    /// The handler sees a HEAD as a GET, of whose response the client gets the head.
    bool bHead = true;
};

}  // namespace webcontainer
