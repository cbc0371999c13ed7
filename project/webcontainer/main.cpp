#include <exception>
#include <string>

#include "log/containerlog.h"
#include "process/commandline.h"
#include "process/crashreport.h"
#include "process/serverprocess.h"
#include "process/skeleton.h"
#include "process/watch.h"
#include "zq/webhttpserver/kivmakelibloaded.h"

int main(int nArguments, char** pArguments) {
    using namespace webcontainer;
    const std::string sVersion = "webcontainer " ZQ_VERSION " (commit " + std::string(s_ksCommit) + "; " +
                                 kiv::s_version_webhttpserver4 + ")";
    CommandLine tCommandLine;
    int nExitCode = kExitOrderly;
    if (!parseCommandLine(nArguments, pArguments, sVersion, tCommandLine, nExitCode)) return nExitCode;
    reportCrashes();
    try {
        if (tCommandLine.tNew)
            writeSkeleton(*tCommandLine.tNew);
        else if (tCommandLine.bCheck)
            checkOnly(tCommandLine);
        else if (tCommandLine.bWatch)
            return watchApplication(tCommandLine);
        else
            return ServerProcess(tCommandLine).serve();
        return kExitOrderly;
    } catch (const Exception& e) {
        complain(describe(e));
    } catch (const std::exception& e) {
        complain(std::string("cannot start: ") + e.what());
    }
    return kExitStartFailed;
}
