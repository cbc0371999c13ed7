#pragma once

#include "log/accesslog.h"
#include "zq/services/configreader.h"

namespace webcontainer {

/// Reads what becomes of the access log, once, at start-up. Throws ConfigError about a value that cannot be
/// used.
AccessLogSettings readAccessLogSettings(const ConfigReader& rReader);

}  // namespace webcontainer
