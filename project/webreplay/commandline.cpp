#include "commandline.h"

#include <CLI/CLI.hpp>
#include <iostream>

namespace webreplay {

namespace {

constexpr char s_ksFooter[] =
    "\nFolders stand for the files *.rec in them, in the order of their names, which is that of time. Where\n"
    "requests build upon each other, begin with an application in the state of then, and one thread.\n"
    "\nTo look for races and faults of memory, build all of it with a sanitizer and let threads repeat it:\n"
    "  cmake --preset tsan && cmake --build build/tsan\n"
    "  build/tsan/bin/webreplay --sanitize --app build/tsan/lib/libNAME.so --repeat 20 --threads 8 FOLDER\n"
    "The preset asan is for memory. A finding ends the program, or stands on standard error.\n"
    "\nExit codes: 0 all the same, 1 something differs, 2 a file is no recording or none was found, 3\n"
    "nothing was run (wrong command line, application or configuration) or the result could not be written.";

constexpr std::string_view s_ksSanitizers = ZQ_SANITIZERS;

void addOptions(CLI::App& rApp, CommandLine& r, std::vector<std::string>& rTexts, bool& rbSanitize) {
    rApp.add_option("places", r.tPlaces, "recordings, and folders of them")->required()->type_name("FILE...");
    rApp.add_option("--app", r.sApplication, "the application's shared object")->type_name("LIBRARY");
    rApp.add_option("--config", r.sConfig, "the server's configuration")->type_name("FILE");
    rApp.add_option("--mask", r.tMasks.tHeaders, "header fields that may differ, beside Date")
        ->type_name("NAME")
        ->allow_extra_args(false);
    rApp.add_option("--mask-regex", rTexts,
                    "what may differ within a line of a body, a field's value or an exception's message")
        ->type_name("REGEX")
        ->allow_extra_args(false);
    rApp.add_option("--repeat", r.nRepeat, "how many times each thread runs all of them")
        ->check(CLI::PositiveNumber)
        ->type_name("N");
    rApp.add_option("--threads", r.nThreads, "how many threads do so at once")
        ->check(CLI::Range(1, 1000))
        ->type_name("M");
    rApp.add_flag("--sanitize", rbSanitize,
                  "refuse to run unless this is a build with a sanitizer, see below");
    rApp.add_flag("--seal", r.bSeal, "only count and sum up anew what was edited, in place");
    rApp.set_version_flag("--version", "webreplay " ZQ_VERSION, "write the version");
    rApp.footer(s_ksFooter);
}

}  // namespace

bool parseCommandLine(int nArguments, const char* const* pArguments, CommandLine& rCommandLine,
                      int& rnExitCode) {
    CLI::App tApp("Runs recorded requests again and compares what comes of them.", "webreplay");
    std::vector<std::string> tTexts;
    bool bSanitize = false;
    const std::vector<std::string> tMasked = rCommandLine.tMasks.tHeaders;
    addOptions(tApp, rCommandLine, tTexts, bSanitize);
    try {
        tApp.parse(nArguments, pArguments);
        if (rCommandLine.sApplication.empty() && !rCommandLine.bSeal) throw CLI::RequiredError("--app");
        if (bSanitize && s_ksSanitizers.empty())
            throw CLI::ValidationError("--sanitize",
                                       "this build has no sanitizer; --help says how to make one");
        for (const std::string& s : tTexts)
            rCommandLine.tMasks.addText(s);
        rCommandLine.tMasks.tHeaders.insert(rCommandLine.tMasks.tHeaders.end(), tMasked.begin(),
                                            tMasked.end());
        return true;
    } catch (const CLI::Success& e) {
        rnExitCode = tApp.exit(e);
        return false;
    } catch (const CLI::ParseError& e) {
        std::cerr << "webreplay: " << e.what() << "; see webreplay --help" << std::endl;
    } catch (const std::invalid_argument& e) {
        std::cerr << "webreplay: --mask-regex: " << e.what() << std::endl;
    }
    rnExitCode = kExitNotRun;
    return false;
}

}  // namespace webreplay
