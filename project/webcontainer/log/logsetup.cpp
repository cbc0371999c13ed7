#include "log/logsetup.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "log/containerlog.h"
#include "zq/foundation/utf8text.h"
#include "zq/services/setting.h"

namespace webcontainer {

namespace {

const Setting s_tFile(textSetting(L"Log/File", L"", "a file to append to; empty: standard error"));
const Setting s_tFormat(textSetting(L"Log/Format", L"text", "for people or for programs", L"text|json"));
const Setting s_tMaxBytes(numberSetting(L"Log/MaxBytes", "bytes", 0, 0, SettingInfo::s_knMost,
                                        "of one log file; 0: any number",
                                        "a file that would grow beyond it is set aside"));
const Setting s_tMaxFiles(numberSetting(L"Log/MaxFiles", "files", 5, 0, LogFileSettings::s_knMostFiles,
                                        "that were set aside and are kept; 0: what was set aside is gone",
                                        "the oldest is gone"));
const Setting s_tLevel(
    textSetting(L"Log/Level", L"info",
                "the least severity that is written; the bodies of responses are only where `Log/Sources` "
                "turns `\"kiv.httpserver.response\"` up to `infominor`",
                L"debug|infominor|info|warning|error"));
const Setting s_tSources(namesSetting(
    L"Log/Sources/*", "the least severity of one source, such as `\"kiv.httpserver.response.headers\"`"));

/// Writes what clients get, secrets and all, as entries of little severity.
constexpr char s_ksBodies[] = "kiv.httpserver.response";

ELogSeverity readSeverity(const ConfigReader& rReader, const PathFilter& rKey) {
    ELogSeverity eSeverity = kSevInfo;
    if (!parseLogSeverity(rReader.getConfigValue(rKey, s_tLevel.pDefault), eSeverity))
        rReader.throwBadValue(rKey, L"it is no severity; write debug, infominor, info, warning or error");
    return eSeverity;
}

/// Which entries are written.
struct Thresholds {
    ELogSeverity eLeast;
    std::vector<std::pair<std::string, ELogSeverity>> tSources;
};

Thresholds readThresholds(const ConfigReader& rReader) {
    Thresholds tThresholds{readSeverity(rReader, s_tLevel.pKey), {}};
    for (const ZQWString& sName : rReader.getNames(s_tSources.getTable()))
        tThresholds.tSources.emplace_back(toUtf8(sName), readSeverity(rReader, s_tSources.getKey(sName)));
    return tThresholds;
}

LogFileSettings readFileSettings(const ConfigReader& rReader) {
    LogFileSettings tSettings;
    tSettings.sPath = toUtf8(s_tFile.readText(rReader));
    tSettings.nMaxBytes = s_tMaxBytes.readNumber(rReader);
    tSettings.nMaxFiles = s_tMaxFiles.readNumber(rReader);
    if (s_tFormat.readChoice(rReader) == 1) tSettings.eFormat = LogFileSettings::EFormat::kJson;
    return tSettings;
}

std::unique_ptr<LogFileWriter> openFile(const ConfigReader& rReader) {
    const LogFileSettings tSettings = readFileSettings(rReader);
    try {
        return std::make_unique<LogFileWriter>(tSettings);
    } catch (const ConfigError& e) {
        rReader.throwBadValue(s_tFile.pKey, fromUtf8(describe(e) + "; name a file that can be written"));
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
    else {
        m_pWriter = openFile(rReader);
        m_bFile = !getLogFile(rReader).empty();
    }
    LogRegistry::addWriter(*m_pWriter, tThresholds.eLeast);
    LogRegistry::setThreshold(*m_pWriter, s_ksBodies, std::max(tThresholds.eLeast, kSevInfo));
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
