#pragma once

#include <string>

#include "container.h"
#include "zq/services/configreader.h"

namespace webcontainer {

/// Reads what the front end takes from the configuration. Everything is read once, at start-up:
///
///     WebContainer/Listen    "127.0.0.1:8080"   address and port; port 0 takes any that is free
///     WebContainer/Workers   16 for each core   threads: applications block, and a waiting thread is cheap
///     WebContainer/...       the limits of containerlimits.h
///     Features/<name>        true or false      switches of the response, such as
///     "HTTPFeatures.rfc2047Headers"
///
/// sListen, when not empty, takes the place of WebContainer/Listen. Throws ConfigError about a value that
/// cannot be used and about a key that means nothing, StartError about sListen.
ContainerOptions readContainerOptions(const ConfigReader& rReader, const std::string& sListen);

/// Makes the configured features the global table of responses. Before the first request only.
void applyFeatures(const ConfigReader& rReader);

/// Throws ConfigError when a name stands directly under sTable that is none of rKnown.
void checkNames(const ConfigReader& rReader, const ZQWString& sTable, const tl::vector<ZQWString>& rKnown);

}  // namespace webcontainer
