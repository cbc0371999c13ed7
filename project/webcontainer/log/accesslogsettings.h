#pragma once

#include "log/accesslog.h"
#include "zq/services/configreader.h"

namespace webcontainer {

/// Reads what becomes of the access log, once, at start-up:
///
///     AccessLog/File    ""          a file, appended to; "-": standard output; empty: no access log
///     AccessLog/Format  "combined"  or "json"; accessline.h shows both
///
/// Throws ConfigError about a value that cannot be used.
AccessLogSettings readAccessLogSettings(const ConfigReader& rReader);

}  // namespace webcontainer
