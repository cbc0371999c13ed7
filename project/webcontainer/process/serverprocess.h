#pragma once

#include <memory>

#include "admin/adminserver.h"
#include "connections/container.h"
#include "log/accesslog.h"
#include "log/logsetup.h"
#include "log/recorder.h"
#include "process/commandline.h"
#include "process/exitguard.h"
#include "process/heap.h"
#include "process/modulehandler.h"
#include "process/servicemanager.h"
#include "process/signals.h"
#include "zq/webhttpserver/kivhttpserver.h"

namespace webcontainer {

/// Everything that one server process is made of, in the order in which it comes up:
///
///     signals - service manager - configuration - log - message texts - features - application - module -
///     access log - recorder - listening sockets - admin listener
class ServerProcess {
public:
    /// Throws ConfigError and StartError.
    explicit ServerProcess(const CommandLine& rCommandLine);
    /// Serves until a signal ends it; returns the exit code.
    int serve();

private:
    void flush() noexcept;
    void reload();
    void sayReady() const;
    void startAdmin();
    void announce(const std::string& sWhat) const;

    const CommandLine m_tCommandLine;
    ExitGuard m_tExitGuard;
    Heap m_tHeap;
    Signals m_tSignals;
    ServiceManager m_tManager;
    LogSetup m_tLog;
    std::unique_ptr<AccessLog> m_pAccessLog;  ///< null: not wanted; outlives the application
    std::unique_ptr<Recorder> m_pRecorder;    ///< as above
    std::unique_ptr<HttpApplication> m_pApplication;
    std::unique_ptr<kiv::KIVHttpServer> m_pServer;
    std::unique_ptr<ModuleHandler> m_pHandler;
    std::shared_ptr<ErrorPages> m_pErrorPages;
    std::unique_ptr<Container> m_pContainer;
    std::unique_ptr<AdminServer> m_pAdmin;  ///< null: not wanted
};

/// Says on standard output that the server could start; warnings that a start would log go to standard
/// error. Makes the application and drops it, opens the logs and leaves no file that was not there. Does not
/// listen: the server that is to be started anew may hold the addresses. Throws as above.
void checkOnly(const CommandLine& rCommandLine);

}  // namespace webcontainer
