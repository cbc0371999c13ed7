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
        const std::vector<std::string>& rArguments, const std::function<void()>& fBeforeExec = [] {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// The first line on standard output; empty when the program ends without one.
    std::string readLine();
    /// Waits for the end; returns the exit code, or -1 for a death by a signal.
    int wait();
    /// What it has written to standard error by its end.
    std::string errors();
    void signal(int nSignal) const;

private:
    pid_t m_nPid = -1;
    int m_nOut = -1;
    int m_nError = -1;
};

}  // namespace test
