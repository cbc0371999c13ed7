#pragma once

#include <string>

#include "connections/containeroptions.h"
#include "zq/services/configreader.h"

namespace webcontainer {

/// Reads what the front end takes from the configuration. Everything is read once, at start-up:
///
///     WebContainer/Listen           "127.0.0.1:8080"   where clients connect, see below
///     WebContainer/UnixSocketMode   "0660"             who may connect to unix sockets, as chmod(1) reads it
///     WebContainer/TrustedProxies   ""                 networks of reverse proxies, see below
///     WebContainer/Workers          16 for each core   threads: applications block, a waiting one is cheap
///     WebContainer/...              the limits of limits.h
///     Features/<name>               true or false      switches of the response, such as
///                                                      "HTTPFeatures.rfc2047Headers"
///
/// Listen is a text of one or more addresses, separated by spaces or commas: "127.0.0.1:8080" (port 0 takes
/// any that is free), "[::1]:8080" (IPv6 alone), "unix:/run/web/web.sock"; or "systemd" alone, for the
/// sockets that the service manager hands over. Those are used in place of the addresses whenever there are
/// any.
///
/// TrustedProxies is a text of networks, separated likewise: "127.0.0.0/8", "::1/128", "unix:". What a peer
/// from one of them says of its client is believed: in Forwarded (RFC 7239) or, only in the absence of that
/// field, in X-Forwarded-For, -Proto and -Host. So such a proxy must set one kind and remove the other from
/// what clients send. Of all other peers these fields mean nothing.
///
/// sListen, when not empty, takes the place of WebContainer/Listen. Throws ConfigError about a value that
/// cannot be used, StartError about sListen.
ContainerOptions readContainerOptions(const ConfigReader& rReader, const std::string& sListen);

/// Makes the configured features the global table of responses. Before the first request only.
void applyFeatures(const ConfigReader& rReader);

}  // namespace webcontainer
