#pragma once

#include <optional>
#include <string>

#include "connections/containeroptions.h"
#include "zq/services/configreader.h"

namespace webcontainer {

/// The admin listener as the configuration wants it.
struct AdminSettings {
    ContainerOptions tOptions;
    std::string sHostName;  ///< asked for by clients beside the loopback names; may be empty
};

/// Reads it, once, at start-up:
///
///     Admin/Listen    "127.0.0.1:9180"  address and port, or unix:/path; port 0 takes any that is free;
///                                       empty: no admin listener
///     Admin/HostName  ""                a name under which clients elsewhere reach it. Only this one, the
///                                       address in Listen and the names of this machine for itself are
///                                       answered, so that no page of another site can read what stands here
///                                       by pointing its own name to this machine.
///
/// Nothing when there is to be none. Throws ConfigError about a value that cannot be used, and about an
/// address that clashes with one of rTaken, where clients connect.
std::optional<AdminSettings> readAdminSettings(const ConfigReader& rReader,
                                               const std::vector<ListenAddress>& rTaken);

}  // namespace webcontainer
