#include "commandline.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

namespace webcontainer {

namespace {

constexpr char s_ksFooter[] =
    "\nSignals: TERM and INT end the server once the requests in flight are answered, a second one at once;\n"
    "HUP reads the configuration again, as far as it may change while requests run, and reopens the log.\n"
    "\nExit codes: 0 orderly end, 1 start failed, 2 wrong command line, 3 ended with requests cut off.";

void addOptions(CLI::App& rApp, CommandLine& rCommandLine, const std::string& sVersion) {
    rApp.add_option("--config", rCommandLine.sConfig, "the configuration file (TOML)")
        ->required()
        ->type_name("FILE");
    rApp.add_option("--app", rCommandLine.sApplication, "the application's shared object")
        ->type_name("LIBRARY");
    rApp.add_option("--listen", rCommandLine.sListen, "where to listen, instead of WebContainer/Listen")
        ->type_name("ADDRESSES");
    rApp.add_flag("--check", rCommandLine.bCheck,
                  "only say whether configuration and application can be used");
    rApp.set_version_flag("--version", sVersion, "write the version");
    rApp.footer(s_ksFooter);
}

}  // namespace

void complain(std::string sWhat) {
    std::replace_if(
        sWhat.begin(), sWhat.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    std::cerr << "webcontainer: " << sWhat << std::endl;
}

bool parseCommandLine(int nArguments, const char* const* pArguments, const std::string& sVersion,
                      CommandLine& rCommandLine, int& rnExitCode) {
    CLI::App tApp("Serves an application over HTTP/1.1.", "webcontainer");
    addOptions(tApp, rCommandLine, sVersion);
    try {
        tApp.parse(nArguments, pArguments);
        if (rCommandLine.sApplication.empty() && !rCommandLine.bCheck) throw CLI::RequiredError("--app");
        return true;
    } catch (const CLI::Success& e) {
        rnExitCode = tApp.exit(e);
    } catch (const CLI::ParseError& e) {
        complain(std::string(e.what()) + "; see webcontainer --help");
        rnExitCode = kExitBadCommand;
    }
    return false;
}

}  // namespace webcontainer
