#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>
#include <thread>

#include "commandline.h"
#include "log/containerlog.h"
#include "replay.h"

namespace webreplay {

namespace {

namespace fs = std::filesystem;

struct File {
    fs::path tPath;
    Recording tRecording{};
    std::string sDifference{};
};

std::string readFile(const fs::path& rPath) {
    std::ifstream tFile(rPath, std::ios::binary);
    std::ostringstream tText;
    tText << tFile.rdbuf();
    if (!tFile) throw Recording::Unreadable("it cannot be read");
    return tText.str();
}

/// In place, and never half.
void seal(const fs::path& rPath) {
    const std::string sText = Recording::read(readFile(rPath), true).write();
    const fs::path tNew = rPath.string() + ".new";
    fs::copy_file(rPath, tNew, fs::copy_options::overwrite_existing);  // for who may read it
    std::ofstream tFile(tNew, std::ios::binary);
    if (!(tFile << sText << std::flush)) throw Recording::Unreadable("it cannot be written");
    fs::rename(tNew, rPath);
}

std::vector<fs::path> findFiles(const std::vector<std::string>& rPlaces) {
    std::vector<fs::path> tPaths;
    for (const std::string& sPlace : rPlaces) {
        if (!fs::is_directory(sPlace)) {
            tPaths.emplace_back(sPlace);
            continue;
        }
        const std::size_t nBefore = tPaths.size();
        for (const fs::directory_entry& r : fs::directory_iterator(sPlace))
            if (r.path().extension() == ".rec") tPaths.push_back(r.path());
        std::sort(tPaths.begin() + static_cast<std::ptrdiff_t>(nBefore), tPaths.end());
    }
    return tPaths;
}

void requireBytes(const Recording& r) {
    for (const Recording::Event& rEvent : r.tEvents)
        if (rEvent.bOmitted && rEvent.eCall == Recording::ECall::kBody)
            throw Recording::Unreadable(
                "bytes of the request's body were omitted, see Recording/MaxRequestBytes");
}

/// Runs all files, on each thread as often as is wanted; the first difference of each file stays.
void runAll(Replay& rReplay, std::vector<File>& rFiles, const CommandLine& rCommandLine) {
    std::mutex tMutex;
    const auto fRun = [&] {
        for (unsigned nTime = 0; nTime < rCommandLine.nRepeat; ++nTime)
            for (File& r : rFiles) {
                std::string sDifference;
                try {
                    sDifference = rReplay.run(r.tRecording);
                } catch (const std::exception& e) {
                    sDifference = std::string(e.what()) + "\n";
                }
                const std::lock_guard tLock(tMutex);
                if (r.sDifference.empty()) r.sDifference = sDifference;
            }
    };
    std::vector<std::jthread> tThreads;
    for (unsigned n = 1; n < rCommandLine.nThreads; ++n)
        tThreads.emplace_back(fRun);
    fRun();
}

int run(const CommandLine& rCommandLine) {
    std::vector<File> tFiles;
    std::size_t nUnusable = 0, nDiffer = 0;
    const auto fTry = [&](const fs::path& rPath, auto f) {
        try {
            f();
        } catch (const std::exception& e) {
            std::cerr << rPath.string() << ": " << e.what() << std::endl;
            ++nUnusable;
        }
    };
    const std::vector<fs::path> tPaths = findFiles(rCommandLine.tPlaces);
    if (rCommandLine.bSeal) {
        for (const fs::path& r : tPaths)
            fTry(r, [&] { seal(r); });
        return nUnusable != 0 || tPaths.empty() ? kExitUnusable : kExitSame;
    }
    for (const fs::path& r : tPaths)
        fTry(r, [&] {
            File tFile{r, Recording::read(readFile(r))};
            requireBytes(tFile.tRecording);
            tFiles.push_back(std::move(tFile));
        });
    Replay tReplay(rCommandLine.sApplication, rCommandLine.sConfig, rCommandLine.tMasks);
    runAll(tReplay, tFiles, rCommandLine);
    for (const File& r : tFiles) {
        if (r.sDifference.empty()) continue;
        ++nDiffer;
        std::cout << r.tPath.string() << ": " << r.tRecording.describe() << "\n" << r.sDifference;
    }
    std::cout << "webreplay: of " << tPaths.size() << " recordings " << tFiles.size() - nDiffer
              << " are the same, " << nDiffer << " differ, " << nUnusable << " cannot be used" << std::endl;
    if (!std::cout) throw std::runtime_error("the result cannot be written");
    return nUnusable != 0 || tPaths.empty() ? kExitUnusable : nDiffer != 0 ? kExitDiffers : kExitSame;
}

}  // namespace

}  // namespace webreplay

int main(int nArguments, char** pArguments) {
    using namespace webreplay;
    CommandLine tCommandLine;
    int nExitCode = kExitNotRun;
    if (!parseCommandLine(nArguments, pArguments, tCommandLine, nExitCode)) return nExitCode;
    try {
        return run(tCommandLine);
    } catch (const Exception& e) {
        std::cerr << "webreplay: " << webcontainer::describe(e) << std::endl;
    } catch (const std::exception& e) {
        std::cerr << "webreplay: " << e.what() << std::endl;
    }
    return kExitNotRun;
}
