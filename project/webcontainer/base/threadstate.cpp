#include "base/threadstate.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string_view>

#include "base/filedescriptor.h"

namespace webcontainer {

bool isAsleep(int nThread) noexcept {
    char tPath[48];
    (void)std::snprintf(tPath, sizeof tPath, "/proc/self/task/%d/stat", nThread);
    const FileDescriptor tFile(::open(tPath, O_RDONLY | O_CLOEXEC));
    char tText[128];
    const ssize_t nRead = ::read(tFile.get(), tText, sizeof tText);
    if (nRead <= 0) return false;
    // "NUMBER (NAME) STATE ...", and the name may hold anything.
    const std::string_view sText(tText, static_cast<std::size_t>(nRead));
    const std::size_t nState = sText.rfind(") ") + 2;
    return nState < sText.size() && (sText[nState] == 'S' || sText[nState] == 'D');
}

}  // namespace webcontainer
