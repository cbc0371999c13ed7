#include "stdafx.h"

#include "kivserverstreamsettings.h"

#include "zq/foundation/encodingcopy.h"
#include "zq/foundation/nocasecompareless.h"

namespace kiv {

namespace {

const ZQWString ksCacheControlNoCache(L"no-cache,no-store,must-revalidate");
const ZQWString ksCacheControlNoStore(L"no-store");
const ZQWString ksCacheControlPrivate(L"private");
const ZQWString ksGeneratedContentCaching_Session(L"session");
const ZQWString ksGeneratedContentCaching_NoStore(L"nostore");
const ZQWString ksGeneratedContentCaching_None(L"none");
const ZQWString ksCacheControlCfgKey(L"ClientSideCaching/GeneratedContentCaching");

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
    m_strWCacheControlDefault =
        rReader.getConfigValue(L"ClientSideCaching/CacheControlHttpHeader/Default", ksCacheControlPrivate);
    m_strWCacheControlForExpires0 =
        rReader.getConfigValue(L"ClientSideCaching/CacheControlHttpHeader/NoCache", noCacheValueOf(sMode));
    m_strWCacheControlForExpiresMoreThan0 = rReader.getConfigValue(
        L"ClientSideCaching/CacheControlHttpHeader/EnableCache", ksCacheControlPrivate);
    m_strCacheControlDefault = narrowed(m_strWCacheControlDefault);
    m_strCacheControlForExpires0 = narrowed(m_strWCacheControlForExpires0);
    m_strCacheControlForExpiresMoreThan0 = narrowed(m_strWCacheControlForExpiresMoreThan0);
    return true;
}

}  // namespace kiv
