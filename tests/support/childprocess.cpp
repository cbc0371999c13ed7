#include "support/childprocess.h"

#include <sys/wait.h>
#include <unistd.h>

std::string runInChild(const std::function<std::string()>& f) {
    int tPipe[2];
    if (pipe(tPipe) != 0) return "no pipe";
    const pid_t nChild = fork();
    if (nChild == 0) {
        close(tPipe[0]);
        const std::string sResult = f();
        const bool bWritten =
            write(tPipe[1], sResult.data(), sResult.size()) == static_cast<ssize_t>(sResult.size());
        _exit(bWritten ? 0 : 1);
    }
    close(tPipe[1]);
    std::string sResult;
    char tBuffer[4096];
    for (ssize_t n; (n = read(tPipe[0], tBuffer, sizeof tBuffer)) > 0;)
        sResult.append(tBuffer, static_cast<std::size_t>(n));
    close(tPipe[0]);
    int nStatus = 0;
    waitpid(nChild, &nStatus, 0);
    return WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0 ? sResult : "child died";
}
