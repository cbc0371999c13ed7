#include "admin/processuse.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "base/filedescriptor.h"

namespace webcontainer {

namespace {

/// Opened before it could be too late.
const FileDescriptor s_tMemory(::open("/proc/self/statm", O_RDONLY | O_CLOEXEC));

std::uint64_t readResidentBytes() {
    char tText[100] = {};
    unsigned long nPages = 0;
    if (::pread(s_tMemory.get(), tText, sizeof tText - 1, 0) <= 0) return 0;
    if (std::sscanf(tText, "%*u %lu", &nPages) != 1) return 0;
    return nPages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace

ProcessUse readProcessUse() {
    ProcessUse tUse;
    tUse.nResidentBytes = readResidentBytes();
    rlimit tLimit{};
    if (::getrlimit(RLIMIT_NOFILE, &tLimit) == 0) tUse.nMostDescriptors = tLimit.rlim_cur;
    std::error_code tError;
    for (auto it = std::filesystem::directory_iterator("/proc/self/fd", tError);
         it != std::filesystem::directory_iterator(); it.increment(tError))
        ++tUse.nDescriptors;
    if (tError == std::errc::too_many_files_open) tUse.nDescriptors = tUse.nMostDescriptors;
    timespec tTime{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &tTime);
    tUse.nProcessorSeconds = static_cast<double>(tTime.tv_sec) + static_cast<double>(tTime.tv_nsec) / 1e9;
    return tUse;
}

}  // namespace webcontainer
