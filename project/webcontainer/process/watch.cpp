#include "process/watch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <list>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "admin/adminsettings.h"
#include "base/monotonicclock.h"
#include "base/starterror.h"
#include "log/containerlog.h"
#include "process/containersettings.h"
#include "process/servicemanager.h"
#include "sockets/listener.h"

namespace webcontainer {

namespace {

namespace fs = std::filesystem;

/// How long the library's file must have been left alone: builds write, strip and rename.
constexpr std::int64_t s_knQuietMs = 200;
/// How long after its crash an instance is started again.
constexpr std::int64_t s_knPauseMs = 1000;

sigset_t makeSet() {
    sigset_t tSet;
    sigemptyset(&tSet);
    for (const int nSignal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGQUIT})
        sigaddset(&tSet, nSignal);
    return tSet;
}

FileDescriptor checked(int nFd) {
    if (nFd < 0) throwStartError("cannot watch: " + describeError(errno));
    return FileDescriptor(nFd);
}

class Watch {
public:
    explicit Watch(const CommandLine& rCommandLine);
    int run();

private:
    void listen();
    void watchFile(const fs::path& rFile);
    void openReports();
    void start();
    [[noreturn]] void becomeInstance() const;
    void readSignals();
    void readReports();
    bool isChange(const fs::path& rFile, std::uint32_t nEvent) const;
    void readChanges();
    void readEnds();
    void onEnd(pid_t nPid, int nExitCode);
    void end(int nSignal);
    static void tell(pid_t nPid, int nSignal) noexcept {
        if (nPid > 0) ::kill(nPid, nSignal);
    }

    const CommandLine m_tCommandLine;
    std::list<Listener> m_tListeners;
    std::string m_sNames;                ///< of the sockets, as LISTEN_FDNAMES has them
    std::map<int, fs::path> m_tFolders;  ///< by what inotify(7) calls them
    std::set<fs::path> m_tFiles;         ///< in those: the one that --app names, and what that has led to
    sigset_t m_tBefore{};                ///< the signals that were blocked before
    FileDescriptor m_tSignals, m_tChanges, m_tReports;
    std::string m_sReportsTo;           ///< NOTIFY_SOCKET of the instances
    std::set<pid_t> m_tInstances;       ///< all that run
    pid_t m_nServing = 0;               ///< 0: none
    pid_t m_nStarting = 0;              ///< 0: none
    std::int64_t m_nDueMs = s_knNever;  ///< when one is to be started
    bool m_bServed = false;             ///< at least one has been ready
    bool m_bEnding = false;
    int m_nExitCode = kExitOrderly;
};

Watch::Watch(const CommandLine& rCommandLine) : m_tCommandLine(rCommandLine) {
    const std::string& rFile = rCommandLine.sApplication;
    if (rFile.find('/') == std::string::npos)
        throwStartError("--watch needs a path with a slash, such as --app ./" + rFile);
    listen();
    m_tChanges = checked(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    watchFile(rFile);
    openReports();
    const sigset_t tSet = makeSet();
    pthread_sigmask(SIG_BLOCK, &tSet, &m_tBefore);
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));  // whoever read the standard output
    m_tSignals = checked(::signalfd(-1, &tSet, SFD_CLOEXEC | SFD_NONBLOCK));
}

/// The sockets of both listeners, under names by which an instance tells them apart.
void Watch::listen() {
    const ConfigReader tReader(ConfigReaderInstance::fromFile(m_tCommandLine.sConfig));
    const ContainerOptions tOptions = readContainerOptions(tReader, m_tCommandLine.sListen);
    const auto tAdmin = readAdminSettings(tReader, tOptions.tListen, m_tCommandLine.getAdmin());
    const auto add = [&](const ContainerOptions& r, const std::string& sName) {
        for (const ListenAddress& rAddress : r.tListen) {
            m_tListeners.emplace_back(rAddress, r.tLimits.nListenBacklog, tOptions.nUnixSocketMode);
            m_sNames.append(m_sNames.empty() ? "" : ":").append(sName);
        }
    };
    add(tOptions, "web");
    if (tAdmin) add(tAdmin->tOptions, s_ksAdminSocket);
}

void Watch::watchFile(const fs::path& rFile) {
    const fs::path tFolder = fs::weakly_canonical(rFile.parent_path());
    const int nFolder =
        ::inotify_add_watch(m_tChanges.get(), tFolder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE);
    if (nFolder < 0)
        throwStartError("cannot watch the folder " + tFolder.string() + ": " + describeError(errno) +
                        "; name the library with --app");
    m_tFolders[nFolder] = tFolder;
    m_tFiles.insert(tFolder / rFile.filename());
}

/// Under a name that the kernel chooses, outside the file system (see unix(7)).
void Watch::openReports() {
    m_tReports = checked(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un tAddress{};
    tAddress.sun_family = AF_UNIX;
    auto* const pAddress = reinterpret_cast<sockaddr*>(&tAddress);
    socklen_t nLength = sizeof tAddress;
    if (::bind(m_tReports.get(), pAddress, sizeof tAddress.sun_family) != 0 ||
        ::getsockname(m_tReports.get(), pAddress, &nLength) != 0)
        throwStartError("cannot watch: " + describeError(errno));
    m_sReportsTo.assign(tAddress.sun_path, nLength - offsetof(sockaddr_un, sun_path));
    m_sReportsTo[0] = '@';
}

int Watch::run() {
    start();
    while (!m_bEnding || !m_tInstances.empty()) {
        pollfd tEvents[] = {
            {m_tSignals.get(), POLLIN, 0}, {m_tReports.get(), POLLIN, 0}, {m_tChanges.get(), POLLIN, 0}};
        const bool bDue = !m_bEnding && m_nDueMs != s_knNever;
        const std::int64_t nLeftMs = std::max<std::int64_t>(m_nDueMs - monotonicMs(), 0);
        ::poll(tEvents, std::size(tEvents), bDue ? static_cast<int>(nLeftMs) : -1);
        readReports();
        readSignals();
        readChanges();
        if (!m_bEnding && monotonicMs() >= m_nDueMs) start();
    }
    return m_nExitCode;
}

/// One that is still starting is out of date already. What --app leads to may be another file than before.
void Watch::start() {
    tell(m_nStarting, SIGKILL);
    try {
        watchFile(fs::weakly_canonical(m_tCommandLine.sApplication));
    } catch (const Exception& e) {
        complain(describe(e));
    } catch (const fs::filesystem_error&) {  // of which the instance tells
    }
    m_nDueMs = s_knNever;
    m_nStarting = ::fork();
    if (m_nStarting == 0) becomeInstance();
    if (m_nStarting > 0) {
        m_tInstances.insert(m_nStarting);
        return;
    }
    complain("cannot start the server: " + describeError(errno) + "; it is tried again");
    m_nStarting = 0;
    m_nDueMs = monotonicMs() + s_knPauseMs;
}

/// In the new process, which has one thread.
void Watch::becomeInstance() const {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);  // whatever ends the one who watches
    ::setpgid(0, 0);                     // the terminal's keys are for the one who watches
    pthread_sigmask(SIG_SETMASK, &m_tBefore, nullptr);
    constexpr int nFirst = 3;
    const int nCount = static_cast<int>(m_tListeners.size());
    std::vector<int> tCopies;  // none of them where another one has to be
    for (const Listener& r : m_tListeners)
        tCopies.push_back(::fcntl(r.getFd(), F_DUPFD_CLOEXEC, nFirst + nCount));
    for (int n = 0; n < nCount; ++n)
        ::dup2(tCopies[static_cast<std::size_t>(n)], nFirst + n);
    for (const auto& [pName, sValue] : {std::pair{"LISTEN_PID", std::to_string(::getpid())},
                                        {"LISTEN_FDS", std::to_string(nCount)},
                                        {"LISTEN_FDNAMES", m_sNames},
                                        {"NOTIFY_SOCKET", m_sReportsTo}})
        ::setenv(pName, sValue.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
    std::vector<const char*> tArguments{"webcontainer", "--config", m_tCommandLine.sConfig.c_str(), "--app",
                                        m_tCommandLine.sApplication.c_str()};
    if (m_tCommandLine.tAdmin)
        tArguments.insert(tArguments.end(), {"--admin", m_tCommandLine.tAdmin->c_str()});
    tArguments.push_back(nullptr);
    ::execv("/proc/self/exe", const_cast<char* const*>(tArguments.data()));
    ::_exit(kExitStartFailed);
}

void Watch::readSignals() {
    signalfd_siginfo tInfo{};
    while (::read(m_tSignals.get(), &tInfo, sizeof tInfo) == sizeof tInfo) {
        const int nSignal = static_cast<int>(tInfo.ssi_signo);
        if (nSignal == SIGCHLD)
            readEnds();
        else if (nSignal == SIGTERM || nSignal == SIGINT)
            end(nSignal);
        else
            tell(m_nServing, nSignal);
    }
}

/// A second signal ends what the first one has left, those who served before included.
void Watch::end(int nSignal) {
    for (const pid_t nPid : m_tInstances)
        if (m_bEnding || nPid == m_nServing || nPid == m_nStarting) tell(nPid, nSignal);
    m_bEnding = true;
}

/// See ServiceManager::ready(); what else instances report is of no interest.
void Watch::readReports() {
    char tText[512];
    for (ssize_t n; (n = ::recv(m_tReports.get(), tText, sizeof tText, 0)) > 0;) {
        const std::string_view sReport(tText, static_cast<std::size_t>(n));
        if (m_nStarting == 0 ||
            !sReport.starts_with("READY=1\nMAINPID=" + std::to_string(m_nStarting) + "\n"))
            continue;
        tell(m_nServing, SIGTERM);
        m_nServing = std::exchange(m_nStarting, 0);
        m_bServed = true;
        std::cout << "webcontainer: watching " << m_tCommandLine.sApplication << std::endl;
    }
}

/// A file that has only been made is still written, unless it is a link.
bool Watch::isChange(const fs::path& rFile, std::uint32_t nEvent) const {
    std::error_code eGone;
    return m_tFiles.contains(rFile) && (!(nEvent & IN_CREATE) || fs::is_symlink(rFile, eGone));
}

void Watch::readChanges() {
    alignas(inotify_event) char tEvents[4096];
    for (ssize_t nRead; (nRead = ::read(m_tChanges.get(), tEvents, sizeof tEvents)) > 0;)
        for (const char* p = tEvents; p < tEvents + nRead;) {
            const auto* const pEvent = reinterpret_cast<const inotify_event*>(p);
            p += sizeof *pEvent + pEvent->len;
            const fs::path& rFolder = m_tFolders[pEvent->wd];
            if (pEvent->mask & IN_IGNORED)
                complain("the folder " + rFolder.string() +
                         " is gone, and nobody sees what comes in its place; start again");
            else if (pEvent->len > 0 && isChange(rFolder / pEvent->name, pEvent->mask))
                m_nDueMs = monotonicMs() + s_knQuietMs;
        }
}

void Watch::readEnds() {
    int nStatus = 0;
    for (pid_t nPid; (nPid = ::waitpid(-1, &nStatus, WNOHANG)) > 0;) {
        m_tInstances.erase(nPid);
        onEnd(nPid, WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : kExitCutOff);
    }
}

void Watch::onEnd(pid_t nPid, int nExitCode) {
    if (nPid == m_nStarting) {
        m_nStarting = 0;
        if (m_bEnding) return;
        if (m_bServed)
            return complain(m_nServing ? "the application that was there before goes on"
                                       : "nobody serves until there is another library");
        // The command is at fault, or what it names.
        m_bEnding = true;
        m_nExitCode = nExitCode;
    } else if (nPid == m_nServing) {
        m_nServing = 0;
        if (m_bEnding) {
            m_nExitCode = nExitCode;
            return;
        }
        complain("the application has ended the server, which is started again");
        if (!m_nStarting) m_nDueMs = std::min(m_nDueMs, monotonicMs() + s_knPauseMs);
    }
}

}  // namespace

int watchApplication(const CommandLine& rCommandLine) {
    return Watch(rCommandLine).run();
}

}  // namespace webcontainer
