#include "process/serverprocess.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "base/starterror.h"
#include "log/accesslogsettings.h"
#include "log/containerlog.h"
#include "log/recordersettings.h"
#include "process/applicationlibrary.h"
#include "process/containersettings.h"
#include "process/crashreport.h"
#include "process/settings.h"
#include "process/trialopening.h"
#include "zq/foundation/messagefilesregistry.h"
#include "zq/httpextension/httpserverinitcontext.h"
#include "zq/httpstream/multipartlimits.h"
#include "zq/webhttpserver/kivmakelibloaded.h"

namespace webcontainer {

namespace {

/// Descriptors that are no connections: logs, libraries, what applications open.
constexpr unsigned s_knOtherDescriptors = 256;
constexpr char s_ksEnding[] = "ending: requests in flight are answered first";

ConfigReader readConfiguration(const std::string& sFile) {
    const auto hInstance = ConfigReaderInstance::fromFile(sFile);
    checkSettingNames(ConfigReader(hInstance));
    ConfigReader::setGlobalInstance(hInstance);
    return ConfigReader(hInstance);
}

/// Allows as many descriptors as the connections may need. Where it must not, there are fewer connections:
/// clients have half of the descriptors at least, the admin listener an eighth at most.
void fitDescriptorLimit(Limits& rLimits, std::optional<AdminSettings>& rAdmin) {
    unsigned nNone = 0;
    unsigned& rnAdmin = rAdmin ? rAdmin->tOptions.tLimits.nMaxConnections : nNone;
    const unsigned nReserved = s_knOtherDescriptors + rnAdmin;
    const unsigned nNeeded = rLimits.nMaxConnections + nReserved;
    rlimit tLimit{};
    if (::getrlimit(RLIMIT_NOFILE, &tLimit) != 0 || tLimit.rlim_cur >= nNeeded) return;
    tLimit.rlim_cur = std::min<rlim_t>(nNeeded, tLimit.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &tLimit);
    const auto nAllowed = static_cast<unsigned>(tLimit.rlim_cur);
    if (nAllowed >= nNeeded) return;
    rLimits.nMaxConnections = std::max(nAllowed - std::min(nReserved, nAllowed / 2), 1u);
    rnAdmin = std::min(rnAdmin, std::max(nAllowed / 8, 1u));
    logText(kSevWarning, s_lsContainer,
            "MaxConnections is lowered to " + std::to_string(rLimits.nMaxConnections) + ": only " +
                std::to_string(nAllowed) + " descriptors are allowed; raise the limit (ulimit -n)");
}

std::unique_ptr<kiv::KIVHttpServer> makeServer(HttpApplication& rApplication, const ConfigReader& rReader) {
    HttpServerInitContext tContext(rApplication);
    auto pServer = std::make_unique<kiv::KIVHttpServer>(tContext);
    MultipartLimits::setDefaults({.nMaxFieldBytes = MultipartLimits::s_knServersMaxFieldBytes});
    ConfigBase::loadAll(rReader);
    return pServer;
}

/// Takes the one for the admin listener out of the sockets that were handed over; -1: there is none.
int takeAdminSocket(std::vector<HandedOverSocket>& rSockets) {
    const auto it = std::ranges::find(rSockets, s_ksAdminSocket, &HandedOverSocket::sName);
    if (it == rSockets.end()) return -1;
    const int nFd = it->nFd;
    rSockets.erase(it);
    return nFd;
}

/// Sockets that were handed over stand in for those of the configuration.
void useHandedOver(ContainerOptions& rOptions, const std::vector<HandedOverSocket>& rSockets) {
    if (rSockets.empty() && rOptions.tListen.empty())
        throwStartError(
            "the service manager has handed no socket over, as WebContainer/Listen demands; start the "
            ".socket unit, or write an address there");
    if (rSockets.empty()) return;
    rOptions.tListen.clear();
    std::string sText = "the service manager's sockets are used in place of WebContainer/Listen:";
    for (const HandedOverSocket& r : rSockets) {
        rOptions.tListen.emplace_back().nHandedOver = r.nFd;
        sText.append(" ").append(r.sName.empty() ? std::to_string(r.nFd) : r.sName);
    }
    logText(kSevInfo, s_lsContainer, sText);
}

/// Stands in where only the configuration matters.
class NoApplication final : public HttpApplication {
    EStatus get(ZQHttpStream&, const HttpApplicationRequest&) override { return kServerInitFailed; }
};

std::unique_ptr<HttpApplication> makeApplication(const std::string& sLibrary) {
    if (sLibrary.empty()) return std::make_unique<NoApplication>();
    // Before its code runs, which may end the process.
    logText(kSevInfo, s_lsContainer, "loading the application " + sLibrary);
    const ApplicationLibrary tLibrary(sLibrary);
    ExitGuard::renew();
    return tLibrary.create();
}

/// The objects that have refused, and what is read without any.
std::string describeKept(const ConfigBase::LoadResult& rResult) {
    std::string sNames;
    for (const std::string& s : rResult.tRefused)
        sNames.append(s).append(", ");
    return sNames + "and the tables WebContainer, AccessLog, Recording, Admin and Features";
}

void loadMessages() {
    const std::string sProblems = MessageFilesRegistry::getInstance().loadMessages();
    if (!sProblems.empty()) logText(kSevWarning, s_lsContainer, sProblems);
}

/// Shows on standard error what else would stand in the log.
class WarningsShown {
public:
    WarningsShown() { LogRegistry::addWriter(m_tWriter, kSevWarning); }
    ~WarningsShown() { LogRegistry::removeWriter(m_tWriter); }
    WarningsShown(const WarningsShown&) = delete;
    WarningsShown& operator=(const WarningsShown&) = delete;

private:
    LogFileWriter m_tWriter{LogFileSettings()};
};

}  // namespace

ServerProcess::ServerProcess(const CommandLine& rCommandLine)
    : m_tCommandLine(rCommandLine),
      m_tExitGuard([this] { flush(); }) {
    std::vector<HandedOverSocket> tHandedOver = takeHandedOverSockets();
    const int nAdminSocket = takeAdminSocket(tHandedOver);
    const ConfigReader tReader = readConfiguration(rCommandLine.sConfig);
    ContainerOptions tOptions = readContainerOptions(tReader, rCommandLine.sListen);
    m_pErrorPages = tOptions.tRules.pErrorPages;
    const AccessLogSettings tAccessLog = readAccessLogSettings(tReader);
    const RecorderSettings tRecorder = readRecorderSettings(tReader);
    m_tLog.start();
    reportCrashesTo(getLogFile(tReader));
    useHandedOver(tOptions, tHandedOver);
    std::optional<AdminSettings> tAdmin =
        readAdminSettings(tReader, tOptions.tListen, rCommandLine.getAdmin());
    if (tAdmin) tAdmin->tOptions.tListen.front().nHandedOver = nAdminSocket;
    checkSettingValues(tReader);
    tOptions.fAlive = [this] {
        if (!m_pContainer->isStuck()) m_tManager.alive();
        if (m_tSignals.hasQuitCome()) m_pContainer->logWork();
        const Statistics tDone = m_pContainer->readStatistics();
        m_tHeap.giveBack(tDone.nReceivedBytes + tDone.nSentBytes + tDone.nAccepted - tDone.nConnections);
    };
    if (const std::int64_t nMs = m_tManager.getWatchdogMs())
        tOptions.tLimits.nSweepIntervalMs =
            static_cast<unsigned>(std::min<std::int64_t>(tOptions.tLimits.nSweepIntervalMs, nMs));
    loadMessages();
    applyFeatures(tReader);
    m_pApplication = makeApplication(rCommandLine.sApplication);
    m_pServer = makeServer(*m_pApplication, tReader);
    m_pHandler = std::make_unique<ModuleHandler>(*m_pServer);
    fitDescriptorLimit(tOptions.tLimits, tAdmin);
    if (!tAccessLog.sFile.empty()) m_pAccessLog = std::make_unique<AccessLog>(tAccessLog);
    if (!tRecorder.sFolder.empty()) m_pRecorder = std::make_unique<Recorder>(tRecorder);
    m_pContainer = std::make_unique<Container>(tOptions, *m_pHandler, m_pAccessLog.get(), m_pRecorder.get());
    if (tAdmin)
        m_pAdmin = std::make_unique<AdminServer>(
            *tAdmin,
            AdminSubject{*m_pContainer, m_pAccessLog.get(), ZQ_VERSION, kiv::s_version_webhttpserver4,
                         std::chrono::system_clock::now(), m_pRecorder.get()});
}

int ServerProcess::serve() {
    m_pContainer->start();
    announce("serving " + m_pContainer->getPlaces());
    if (m_pAdmin) startAdmin();
    sayReady();
    while (m_tSignals.wait() == Signals::ESignal::kReload)
        reload();
    m_tManager.stopping(s_ksEnding);
    logText(kSevInfo, s_lsContainer, s_ksEnding);
    m_tSignals.watchEndOnly();
    const bool bOrderly = m_pContainer->drain(m_tSignals.getFd());
    if (m_pAdmin) m_pAdmin->drain();
    logText(kSevInfo, s_lsContainer, bOrderly ? "ended" : "ended with requests cut off");
    // A thread that is still inside the application would be waited for; nothing is lost without that.
    if (!m_pContainer->haveThreadsEnded()) {
        flush();
        ::_exit(kExitCutOff);
    }
    return bOrderly ? kExitOrderly : kExitCutOff;
}

/// Writes what waits for it, before the process ends without more ado.
void ServerProcess::flush() noexcept {
    if (m_pAccessLog) m_pAccessLog->flush();
    if (m_pRecorder) m_pRecorder->flush();
}

void ServerProcess::sayReady() const {
    m_tManager.ready("serving " + m_pContainer->getPlaces());
}

void ServerProcess::startAdmin() {
    m_pAdmin->start();
    announce("status at " + m_pAdmin->getPlaces());
}

/// Once: who reads the log on standard error sees standard output too.
void ServerProcess::announce(const std::string& sWhat) const {
    std::cout << "webcontainer: " << sWhat << std::endl;
    if (m_tLog.hasFile()) logText(kSevInfo, s_lsContainer, sWhat);
}

void ServerProcess::reload() {
    m_tManager.reloading();
    m_tLog.reopen();
    if (m_pAccessLog) m_pAccessLog->reopen();
    if (m_pRecorder) m_pRecorder->goOn();
    const auto hBefore = ConfigReader::getGlobalInstance();
    try {
        const auto tResult = ConfigBase::loadAll(readConfiguration(m_tCommandLine.sConfig));
        logText(
            kSevInfo, s_lsContainer,
            "configuration read again: the severities of the log are as it says; until a restart keep their "
            "values: " +
                describeKept(tResult));
    } catch (const Exception& e) {
        ConfigReader::setGlobalInstance(hBefore);
        logText(kSevError, s_lsContainer, "the configuration is kept as it was: " + describe(e));
    }
    try {
        m_pErrorPages->readAgain();
    } catch (const Exception& e) {
        logText(kSevError, s_lsContainer, "the error pages are kept as they were: " + describe(e));
    }
    sayReady();
}

void checkOnly(const CommandLine& rCommandLine) {
    const WarningsShown tWarnings;
    const ExitGuard tExitGuard;
    const ConfigReader tReader = readConfiguration(rCommandLine.sConfig);
    ContainerOptions tOptions = readContainerOptions(tReader, rCommandLine.sListen);
    const AccessLogSettings tAccessLog = readAccessLogSettings(tReader);
    const RecorderSettings tRecorder = readRecorderSettings(tReader);
    const TrialOpening tLogTrial(getLogFile(tReader));
    checkLogSettings(tReader);
    std::optional<AdminSettings> tAdmin =
        readAdminSettings(tReader, tOptions.tListen, rCommandLine.getAdmin());
    checkSettingValues(tReader);
    loadMessages();
    applyFeatures(tReader);
    const std::unique_ptr<HttpApplication> pApplication = makeApplication(rCommandLine.sApplication);
    makeServer(*pApplication, tReader);
    fitDescriptorLimit(tOptions.tLimits, tAdmin);
    const TrialOpening tAccessLogTrial(tAccessLog.sFile);
    if (!tAccessLog.sFile.empty()) AccessLog{tAccessLog};
    if (!tRecorder.sFolder.empty()) Recorder{tRecorder};
    std::cout << "webcontainer: " << rCommandLine.sConfig << " can be used" << std::endl;
}

}  // namespace webcontainer
