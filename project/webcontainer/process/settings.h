#pragma once

#include <string>

#include "zq/services/configreader.h"

namespace webcontainer {

/// Throws ConfigError about the first table or key that nobody reads: a misspelt name must not silently leave
/// a default in force.
void checkSettingNames(const ConfigReader& rReader);

/// Throws ConfigError about the first number out of its range, and warns in the log about texts that mean
/// nothing to a reader who does not say so itself.
void checkSettingValues(const ConfigReader& rReader);

/// All settings, in the order of their keys, as rows of a table in Markdown:
///
///     | `KEY` | default | range or choices | meaning | what happens beyond |
std::string describeSettings();

}  // namespace webcontainer
