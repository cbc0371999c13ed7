#pragma once

#include "http/methodrules.h"

namespace webcontainer {

/// What the front end does by itself for its clients, beyond its limits. Constant while it serves.
struct ServingRules {
    MethodRules tMethods;
};

}  // namespace webcontainer
