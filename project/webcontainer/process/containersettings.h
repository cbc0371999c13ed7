#pragma once

#include <string>

#include "connections/containeroptions.h"
#include "zq/services/configreader.h"

namespace webcontainer {

/// Reads what the front end takes from the configuration, once, at start-up. sListen, when not empty, takes
/// the place of WebContainer/Listen. Throws ConfigError about a value that cannot be used, StartError about
/// sListen and the error pages.
ContainerOptions readContainerOptions(const ConfigReader& rReader, const std::string& sListen);

/// The parts of that which decide what is refused before it runs. Throw ConfigError.
Limits readLimits(const ConfigReader& rReader);
MethodRules readMethodRules(const ConfigReader& rReader);

/// Makes the configured features the global table of responses. Before the first request only.
void applyFeatures(const ConfigReader& rReader);

}  // namespace webcontainer
