#include "stdafx.h"

#include "kivserverstreamsettings.h"

#include "zq/foundation/encodingcopy.h"
#include "zq/foundation/nocasecompareless.h"
#include "zq/services/setting.h"

namespace kiv {

namespace {

const ZQWString ksCacheControlNoCache(L"no-cache,no-store,must-revalidate");
const ZQWString ksCacheControlNoStore(L"no-store");
const ZQWString ksCacheControlPrivate(L"private");
const ZQWString ksGeneratedContentCaching_Session(L"session");
const ZQWString ksGeneratedContentCaching_NoStore(L"nostore");
const ZQWString ksGeneratedContentCaching_None(L"none");

const Setting s_tGeneratedContentCaching(textSetting(
    L"ClientSideCaching/GeneratedContentCaching", L"nostore",
    "what browsers may keep of pages that expire at once: nothing, the same in words that old caches "
    "understand too, or a private copy",
    L"nostore|none|session", "counts as `session`, with a warning"));
const Setting s_tDefault(textSetting(L"ClientSideCaching/CacheControlHttpHeader/Default", L"private",
                                     "Cache-Control of pages that say nothing of their age"));
const Setting s_tNoCache(
    textSetting(L"ClientSideCaching/CacheControlHttpHeader/NoCache", nullptr,
                "Cache-Control of pages that expire at once; by default as `GeneratedContentCaching` says"));
const Setting s_tEnableCache(textSetting(L"ClientSideCaching/CacheControlHttpHeader/EnableCache", L"private",
                                         "Cache-Control of pages that may be kept for a while"));

const ZQWString ksCacheControlCfgKey(s_tGeneratedContentCaching.pKey);

/// What a response that must not be reused says, unless its own key is set. A mode that is none of the three
/// counts as "session", which leaves it to the browser.
const ZQWString& noCacheValueOf(const ZQWString& sMode) {
    const std::pair<const ZQWString&, const ZQWString&> tModes[] = {
        {ksGeneratedContentCaching_Session, ksCacheControlPrivate},
        {ksGeneratedContentCaching_NoStore, ksCacheControlNoStore},
        {ksGeneratedContentCaching_None, ksCacheControlNoCache}};
    for (const auto& [rMode, rValue] : tModes)
        if (compareNoCase(sMode, rMode) == 0) return rValue;
    return ksCacheControlPrivate;
}

ZQNarrowString narrowed(const ZQWString& s) {
    NarrowStringBuffer tBytes;
    EncodingCopy<wchar_t, char>().encode(tBytes, s);
    return tBytes.toString();
}

}  // namespace

KIVServerHttpStreamSettings s_KIVServerHttpStreamSettings;

KIVServerHttpStreamSettings::KIVServerHttpStreamSettings() : m_tConfig(kConfigDontSupportReload) {
    m_tConfig.init(this);
}

bool KIVServerHttpStreamSettings::loadConfig(const ConfigReader& rReader, EConfig) {
    const ZQWString sMode = rReader.getConfigValue(ksCacheControlCfgKey, ksGeneratedContentCaching_NoStore);
    m_strWCacheControlDefault = rReader.getConfigValue(s_tDefault.pKey, ksCacheControlPrivate);
    m_strWCacheControlForExpires0 = rReader.getConfigValue(s_tNoCache.pKey, noCacheValueOf(sMode));
    m_strWCacheControlForExpiresMoreThan0 =
        rReader.getConfigValue(s_tEnableCache.pKey, ksCacheControlPrivate);
    m_strCacheControlDefault = narrowed(m_strWCacheControlDefault);
    m_strCacheControlForExpires0 = narrowed(m_strWCacheControlForExpires0);
    m_strCacheControlForExpiresMoreThan0 = narrowed(m_strWCacheControlForExpiresMoreThan0);
    return true;
}

}  // namespace kiv
