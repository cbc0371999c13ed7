#pragma once

#include <memory>

#include "accesslog.h"
#include "adminserver.h"
#include "applicationlibrary.h"
#include "commandline.h"
#include "container.h"
#include "logsetup.h"
#include "modulehandler.h"
#include "servicemanager.h"
#include "signals.h"
#include "zq/webhttpserver/kivhttpserver.h"

namespace webcontainer {

/// Everything that one server process is made of, in the order in which it comes up:
///
///     signals - service manager - configuration - log - message texts - features - application - module -
///     listening socket - admin listener
class ServerProcess {
public:
    /// Throws ConfigError and StartError.
    explicit ServerProcess(const CommandLine& rCommandLine);
    /// Serves until a signal ends it; returns the exit code.
    int serve();

private:
    void loadMessages();
    void reload();
    void sayReady() const;
    void startAdmin();

    const CommandLine m_tCommandLine;
    Signals m_tSignals;
    ServiceManager m_tManager;
    LogSetup m_tLog;
    std::unique_ptr<ApplicationLibrary> m_pLibrary;
    std::unique_ptr<HttpApplication> m_pApplication;
    std::unique_ptr<kiv::KIVHttpServer> m_pServer;
    std::unique_ptr<ModuleHandler> m_pHandler;
    std::unique_ptr<AccessLog> m_pAccessLog;  ///< null: not wanted
    std::unique_ptr<Container> m_pContainer;
    std::unique_ptr<AdminServer> m_pAdmin;  ///< null: not wanted
};

/// Says on standard output whether configuration and application can be used, without serving. Throws as
/// above.
void checkOnly(const CommandLine& rCommandLine);

}  // namespace webcontainer
