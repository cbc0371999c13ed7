#include "program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace test {

Program::Program(const std::vector<std::string>& rArguments, const std::function<void()>& fBeforeExec,
                 const char* pProgram) {
    int tOut[2];
    int tError[2];
    if (::pipe2(tOut, O_CLOEXEC) != 0 || ::pipe2(tError, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipes");
    std::vector<char*> tArguments{const_cast<char*>(pProgram)};
    for (const std::string& s : rArguments)
        tArguments.push_back(const_cast<char*>(s.c_str()));
    tArguments.push_back(nullptr);
    m_nPid = ::fork();
    if (m_nPid == 0) {
        ::dup2(tOut[1], 1);
        ::dup2(tError[1], 2);
        fBeforeExec();
        ::execv(pProgram, tArguments.data());
        ::_exit(127);
    }
    ::close(tOut[1]);
    ::close(tError[1]);
    m_nOut = tOut[0];
    m_nError = tError[0];
}

Program::~Program() {
    if (m_nPid > 0) {
        signal(SIGKILL);
        wait();
    }
    ::close(m_nOut);
    ::close(m_nError);
}

std::string Program::readLine() {
    std::string s;
    for (char c; ::read(m_nOut, &c, 1) == 1 && c != '\n';)
        s += c;
    return s;
}

int Program::wait() {
    int nStatus = 0;
    ::waitpid(m_nPid, &nStatus, 0);
    m_nPid = -1;
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -WTERMSIG(nStatus);
}

std::string Program::readAll(int nFd) {
    std::string s;
    char tPiece[4096];
    for (ssize_t n; (n = ::read(nFd, tPiece, sizeof tPiece)) > 0;)
        s.append(tPiece, static_cast<std::size_t>(n));
    return s;
}

void Program::signal(int nSignal) const {
    ::kill(m_nPid, nSignal);
}

}  // namespace test
