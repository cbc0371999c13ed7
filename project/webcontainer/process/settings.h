#pragma once

#include "zq/services/configreader.h"

namespace webcontainer {

/// Throws ConfigError about the first table or key that nobody reads: a misspelt name must not silently leave
/// a default in force. Every name that the server, the module and their libraries read stands in the one list
/// behind this function; what applications read stands in the table [Application], where any name will do.
void checkConfigurationNames(const ConfigReader& rReader);

}  // namespace webcontainer
