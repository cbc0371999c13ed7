#pragma once

#include <string>
#include <vector>

#include "comparison.h"

namespace webreplay {

/// What whoever called the program learns, for scripts.
enum EExitCode : int {
    kExitSame = 0,
    kExitDiffers = 1,
    kExitUnusable = 2,  ///< there are files that are no recordings, or none at all
    kExitNotRun = 3,    ///< wrong command line, no application, a configuration that cannot be used
};

struct CommandLine {
    std::string sApplication, sConfig;
    std::vector<std::string> tPlaces;  ///< files and folders
    Masks tMasks;
    unsigned nRepeat = 1;
    unsigned nThreads = 1;
    bool bSeal = false;
};

/// False: the program is to end with rnExitCode; everything has been said.
bool parseCommandLine(int nArguments, const char* const* pArguments, CommandLine& rCommandLine,
                      int& rnExitCode);

}  // namespace webreplay
