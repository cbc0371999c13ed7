#pragma once

#include "log/recorder.h"
#include "zq/services/configreader.h"

namespace webcontainer {

/// Reads what is recorded, once, at start-up. Throws ConfigError about a value that cannot be used.
RecorderSettings readRecorderSettings(const ConfigReader& rReader);

}  // namespace webcontainer
