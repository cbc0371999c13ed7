#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace test {

/// The real program in a process of its own; killed at the end of the scope if it still runs.
class Program {
public:
    /// fBeforeExec runs in the new process before it becomes the program.
    explicit Program(
        const std::vector<std::string>& rArguments, const std::function<void()>& fBeforeExec = [] {},
        const char* pProgram = TEST_PROGRAM);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// The first line on standard output; empty when the program ends without one.
    std::string readLine();
    /// Waits for the end; returns the exit code, or the negative number of the signal that ended it.
    int wait();
    /// What it writes to standard output, from here to its end, and to standard error.
    std::string output() { return readAll(m_nOut); }
    std::string errors() { return readAll(m_nError); }
    void signal(int nSignal) const;

private:
    static std::string readAll(int nFd);

    pid_t m_nPid = -1;
    int m_nOut = -1;
    int m_nError = -1;
};

}  // namespace test
