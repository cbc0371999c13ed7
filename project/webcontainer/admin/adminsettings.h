#pragma once

#include <optional>
#include <string>

#include "connections/containeroptions.h"
#include "zq/services/configreader.h"

namespace webcontainer {

/// The admin listener as the configuration wants it.
struct AdminSettings {
    ContainerOptions tOptions;
    std::string sHostName;  ///< beside the loopback names; may be empty
    bool bReadyWhileSaturated = true;
};

/// Reads it, once, at start-up. Nothing when there is to be none. pListen, unless null, takes the place of
/// Admin/Listen. Throws ConfigError about a value that cannot be used, and about an address that clashes with
/// one of rTaken, where clients connect; StartError when the address is that of pListen.
std::optional<AdminSettings> readAdminSettings(const ConfigReader& rReader,
                                               const std::vector<ListenAddress>& rTaken,
                                               const std::string* pListen = nullptr);

}  // namespace webcontainer
