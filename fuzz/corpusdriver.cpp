// Gives a target every file of the folders that it is called with: what libFuzzer's main() does without
// fuzzing, for builds by any compiler. A target that dies leaves the name of the file that it died of.

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize);

namespace {

std::string s_sFile;

void nameFile(int nSignal) {
    const std::string_view sEnd = "\n";
    if (::write(STDERR_FILENO, s_sFile.data(), s_sFile.size()) > 0)
        (void)!::write(STDERR_FILENO, sEnd.data(), sEnd.size());
    std::signal(nSignal, SIG_DFL);
    std::raise(nSignal);
}

}  // namespace

int main(int nArguments, char** pArguments) {
    for (const int nSignal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL})
        std::signal(nSignal, &nameFile);
    std::size_t nFiles = 0;
    for (int n = 1; n < nArguments; ++n) {
        std::vector<std::filesystem::path> tPaths;
        std::ranges::copy(std::filesystem::directory_iterator(pArguments[n]), std::back_inserter(tPaths));
        std::ranges::sort(tPaths);
        for (const std::filesystem::path& rPath : tPaths) {
            s_sFile = rPath.string();
            std::ifstream tFile(rPath, std::ios::binary);
            // To the byte, so that a sanitizer sees who reads beyond its end.
            const std::vector<char> tBytes{std::istreambuf_iterator<char>(tFile), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(tBytes.data()), tBytes.size());
            ++nFiles;
        }
    }
    std::printf("%zu inputs\n", nFiles);
    return nFiles == 0;
}
