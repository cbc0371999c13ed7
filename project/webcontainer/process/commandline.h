#pragma once

#include <optional>
#include <string>

namespace webcontainer {

/// How the process ends.
enum EExitCode {
    kExitOrderly = 0,      ///< after a signal, every request answered; --check: all is well
    kExitStartFailed = 1,  ///< the reason stands on standard error
    kExitBadCommand = 2,   ///< the command line means nothing
    kExitCutOff = 3,  ///< after a signal, but some requests were cut off: time was up, or a second signal
    kExitByApplication = 4,  ///< the application called exit(); the reason stands in the log
};

struct CommandLine {
    std::string sConfig;
    std::string sApplication;
    std::string sListen;                ///< empty: as configured
    std::optional<std::string> tAdmin;  ///< nothing: as configured
    bool bCheck = false;
    bool bWatch = false;
    std::optional<std::string> tNew;  ///< the application to begin; nothing else counts then

    const std::string* getAdmin() const noexcept { return tAdmin ? &*tAdmin : nullptr; }
};

/// The commit of the sources; "unknown" where they are no repository.
extern const char s_ksCommit[];

/// Reads the command line. False: the process is to end with rnExitCode; help, version or what is wrong has
/// been written. sVersion: what --version writes.
bool parseCommandLine(int nArguments, const char* const* pArguments, const std::string& sVersion,
                      CommandLine& rCommandLine, int& rnExitCode);

/// Writes "webcontainer: ..." to standard error, as one line whatever is in it.
void complain(std::string sWhat);

}  // namespace webcontainer
