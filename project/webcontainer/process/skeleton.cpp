#include "process/skeleton.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <system_error>

#include "base/starterror.h"

namespace webcontainer {

namespace {

namespace fs = std::filesystem;

/// What the build calls something else, and the classes that a new application sees.
constexpr std::string_view s_ksReserved[] = {"ALL_BUILD",       "INSTALL",       "PACKAGE",
                                             "RUN_TESTS",       "ZERO_CHECK",    "all",
                                             "clean",           "edit_cache",    "help",
                                             "install",         "package",       "package_source",
                                             "preinstall",      "rebuild_cache", "test",
                                             "CharacterSet",    "Exception",     "Handle",
                                             "HttpApplication", "InputStream",   "QueryParameters",
                                             "StringBuffer",    "Transcoding"};

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::string makeClass(std::string sName) {
    if (sName[0] >= 'a' && sName[0] <= 'z') sName[0] = static_cast<char>(sName[0] - 'a' + 'A');
    return sName;
}

void checkName(const std::string& sName) {
    const bool bPlain =
        std::ranges::all_of(sName, [](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '_'; });
    if (!bPlain || !isLetter(sName[0]))
        throwStartError("\"" + sName +
                        "\" is no name for a class; take a letter, then letters, digits and _");
    for (const std::string& s : {sName, makeClass(sName)})
        if (std::ranges::find(s_ksReserved, s) != std::end(s_ksReserved))
            throwStartError("\"" + sName +
                            "\" means something else to CMake or to headers; choose another name");
}

/// The text with sName in place of "hello", and as a class is called in place of "Hello".
std::string rename(std::string_view sText, const std::string& sName) {
    constexpr std::string_view sOld = "hello", sOldClass = "Hello";
    std::string sResult;
    while (!sText.empty()) {
        const bool bClass = sText.starts_with(sOldClass);
        if (bClass || sText.starts_with(sOld)) {
            sResult.append(bClass ? makeClass(sName) : sName);
            sText.remove_prefix(sOld.size());
        } else {
            sResult += sText[0];
            sText.remove_prefix(1);
        }
    }
    return sResult;
}

void writeFile(const fs::path& rFile, const std::string& sText, bool bProgram) {
    std::ofstream tFile(rFile);
    tFile << sText;
    tFile.close();
    if (!tFile) throwStartError("cannot write " + rFile.string() + ": " + describeError(errno));
    if (bProgram)
        fs::permissions(rFile, fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec,
                        fs::perm_options::add);
}

}  // namespace

void writeSkeleton(const std::string& sName) {
    checkName(sName);
    if (::mkdir(sName.c_str(), 0777) != 0)
        throwStartError("cannot make the folder " + sName + ": " + describeError(errno) +
                        "; choose another name or folder");
    try {
        for (const SkeletonFile* p = s_tSkeletonFiles; p->pName; ++p)
            writeFile(fs::path(sName) / rename(p->pName, sName), rename(p->pText, sName), p->bProgram);
    } catch (...) {
        std::error_code eIgnored;
        fs::remove_all(sName, eIgnored);
        throw;
    }
    std::cout << "webcontainer: " << sName
              << "/README.md says how to build, test and serve the new application" << std::endl;
}

}  // namespace webcontainer
