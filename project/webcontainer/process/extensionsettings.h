#pragma once

#include "zq/services/configreader.h"

namespace webcontainer {

/// Looks at what the server extension takes from the configuration without a check of its own: throws
/// ConfigError about minutes that do not fit its 32 bits of milliseconds, and warns in the log about a
/// caching mode that is none, which counts as "session". Also throws what its library would about uploads,
/// which that one reports to the log too.
void checkExtensionSettings(const ConfigReader& rReader);

}  // namespace webcontainer
