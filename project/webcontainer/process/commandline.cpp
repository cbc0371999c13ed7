#include "process/commandline.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <vector>

#include "process/nearestname.h"
#include "process/settings.h"

namespace webcontainer {

namespace {

constexpr char s_ksFooter[] =
    "\nSignals: TERM and INT end the server once the requests in flight are answered, a second one at once;\n"
    "HUP reads the configuration again, as far as it may change while requests run, and reopens the log;\n"
    "QUIT writes to the log, as warnings, what every worker does.\n"
    "\nExit codes: 0 orderly end, 1 start failed, 2 wrong command line, 3 ended with requests cut off,\n"
    "4 ended by the application.";

void addOptions(CLI::App& rApp, CommandLine& rCommandLine, const std::string& sVersion) {
    rApp.add_subcommand("new", "make the folder NAME, in which an application begins")
        ->add_option("NAME", rCommandLine.tNew, "what it is called")
        ->required();
    rApp.add_option("--config", rCommandLine.sConfig, "the configuration file (TOML)")->type_name("FILE");
    rApp.add_option("--app", rCommandLine.sApplication, "the application's shared object")
        ->type_name("LIBRARY");
    rApp.add_option("--listen", rCommandLine.sListen, "where to listen, instead of WebContainer/Listen")
        ->type_name("ADDRESSES");
    rApp.add_option("--admin", rCommandLine.tAdmin,
                    "where the status page and the like are, instead of Admin/Listen; \"\": nowhere")
        ->type_name("ADDRESS");
    rApp.add_flag("--check", rCommandLine.bCheck,
                  "only say whether the server could start; the application is made and dropped");
    rApp.add_flag(
        "--watch", rCommandLine.bWatch,
        "for development: serve the application anew whenever its library is built, without losing a "
        "request");
    rApp.add_flag_callback(
            "--settings", [] { throw CLI::CallForVersion(describeSettings(), kExitOrderly); },
            "write every setting as a table in Markdown")
        ->trigger_on_parse();
    rApp.set_version_flag("--version", sVersion, "write the version");
    rApp.footer(s_ksFooter);
}

/// An option that nobody knows is the likely reason for whatever else is wrong.
std::string describeMistake(const CLI::App& rApp, const CLI::ParseError& rError) {
    std::vector<std::string> tKnown;
    for (const CLI::Option* const p : rApp.get_options())
        tKnown.push_back("--" + p->get_single_name());
    for (const std::string& s : rApp.remaining())
        if (s.starts_with('-')) return "there is no option " + s + suggest(s, tKnown);
    return rError.what();
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
        if (rCommandLine.tNew) return true;
        if (rCommandLine.sConfig.empty()) throw CLI::RequiredError("--config");
        if (rCommandLine.sApplication.empty() && !rCommandLine.bCheck) throw CLI::RequiredError("--app");
        return true;
    } catch (const CLI::Success& e) {
        rnExitCode = tApp.exit(e);
    } catch (const CLI::ParseError& e) {
        complain(describeMistake(tApp, e) + "; see webcontainer --help");
        rnExitCode = kExitBadCommand;
    }
    return false;
}

}  // namespace webcontainer
