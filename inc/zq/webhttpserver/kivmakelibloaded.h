#pragma once

#include "zq/foundation/zqexport.h"

namespace kiv {

/// The module's release, and its release with the compiler and kind of build that made it.
ZQ_EXPORT extern const char s_version_webhttpserver3[];
ZQ_EXPORT extern const char s_version_webhttpserver4[];

}  // namespace kiv
