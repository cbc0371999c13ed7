#pragma once

#include "zq/foundation/zqstring.h"
#include "zq/services/config.h"

namespace kiv {

/// The Cache-Control values of responses, chosen by configuration (ClientSideCaching/...): of those that
/// set no expiry, of those that expire at once, and of those that expire later.
///
/// The one instance is made when the module is loaded. It is filled then, if the process-wide reader exists,
/// and at the host's first configuration load; until one of them the values are empty, and afterwards they
/// stay. Each value is kept wide for the log and narrow (low bytes) for the wire. Values are not validated.
class KIVServerHttpStreamSettings {
public:
    KIVServerHttpStreamSettings();

    /// Always true; eConfig changes nothing.
    bool loadConfig(const ConfigReader& rReader, EConfig eConfig);

    Config<KIVServerHttpStreamSettings> m_tConfig;
    ZQWString m_strWCacheControlForExpires0;
    ZQNarrowString m_strCacheControlForExpires0;
    ZQWString m_strWCacheControlForExpiresMoreThan0;
    ZQNarrowString m_strCacheControlForExpiresMoreThan0;
    ZQWString m_strWCacheControlDefault;
    ZQNarrowString m_strCacheControlDefault;
};

extern KIVServerHttpStreamSettings s_KIVServerHttpStreamSettings;

}  // namespace kiv
