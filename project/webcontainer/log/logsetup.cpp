#include "log/logsetup.h"

#include <utility>
#include <vector>

#include "log/containerlog.h"
#include "zq/foundation/utf8text.h"

namespace webcontainer {

namespace {

constexpr wchar_t s_ksLevel[] = L"Log/Level";
constexpr wchar_t s_ksSources[] = L"Log/Sources";
constexpr wchar_t s_ksFormat[] = L"Log/Format";
constexpr wchar_t s_ksLevelDefault[] = L"info";

ELogSeverity readSeverity(const ConfigReader& rReader, const PathFilter& rKey) {
    ELogSeverity eSeverity = kSevInfo;
    if (!parseLogSeverity(rReader.getConfigValue(rKey, s_ksLevelDefault), eSeverity))
        rReader.throwBadValue(rKey, L"it is no severity; write debug, infominor, info, warning or error");
    return eSeverity;
}

/// Which entries are written.
struct Thresholds {
    ELogSeverity eLeast;
    std::vector<std::pair<std::string, ELogSeverity>> tSources;
};

Thresholds readThresholds(const ConfigReader& rReader) {
    Thresholds tThresholds{readSeverity(rReader, s_ksLevel), {}};
    for (const ZQWString& sName : rReader.getNames(s_ksSources)) {
        StringBuffer tKey;
        tKey.append(s_ksSources);
        tKey.append(L'/');
        tKey.append(sName);
        tThresholds.tSources.emplace_back(toUtf8(sName), readSeverity(rReader, tKey.toString()));
    }
    return tThresholds;
}

LogFileSettings readFileSettings(const ConfigReader& rReader) {
    LogFileSettings tSettings;
    tSettings.sPath = toUtf8(rReader.getConfigValue(L"Log/File", L""));
    tSettings.nMaxBytes = rReader.getConfigValue(L"Log/MaxBytes", 0u);
    tSettings.nMaxFiles = rReader.getConfigValue(L"Log/MaxFiles", 5u, 0, LogFileSettings::s_knMostFiles);
    const ZQWString sFormat = rReader.getConfigValue(s_ksFormat, L"text");
    if (sFormat == L"json")
        tSettings.eFormat = LogFileSettings::EFormat::kJson;
    else if (!(sFormat == L"text"))
        rReader.throwBadValue(s_ksFormat, L"it is no format; write text or json");
    return tSettings;
}

std::unique_ptr<LogFileWriter> openFile(const ConfigReader& rReader) {
    const LogFileSettings tSettings = readFileSettings(rReader);
    try {
        return std::make_unique<LogFileWriter>(tSettings);
    } catch (const ConfigError& e) {
        rReader.throwBadValue(L"Log/File", fromUtf8(describe(e) + "; name a file that can be written"));
    }
}

}  // namespace

LogSetup::~LogSetup() {
    if (m_pWriter) LogRegistry::removeWriter(*m_pWriter);
}

bool LogSetup::loadConfig(const ConfigReader& rReader, EConfig) {
    // Everything is read before anything changes, so that a bad value leaves the log as it was.
    const Thresholds tThresholds = readThresholds(rReader);
    if (m_pWriter)
        LogRegistry::removeWriter(*m_pWriter);
    else
        m_pWriter = openFile(rReader);
    LogRegistry::addWriter(*m_pWriter, tThresholds.eLeast);
    for (const auto& [sSource, eLeast] : tThresholds.tSources)
        LogRegistry::setThreshold(*m_pWriter, sSource, eLeast);
    return true;
}

void LogSetup::reopen() noexcept {
    if (m_pWriter) m_pWriter->reopen();
}

std::string getLogFile(const ConfigReader& rReader) {
    return readFileSettings(rReader).sPath;
}

void checkLogSettings(const ConfigReader& rReader) {
    readThresholds(rReader);
    openFile(rReader);
}

}  // namespace webcontainer
