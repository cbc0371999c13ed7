#pragma once

#include <functional>

namespace webcontainer {

/// While it exists, exit() and quick_exit() mean that an application ends the process behind the server's
/// back: the log says so, and the exit code is kExitByApplication whatever was wanted. _exit() cannot be
/// noticed, nor can what other processes do to this one. One at a time.
class ExitGuard {
public:
    /// fBeforeEnd: called on the thread that has called exit(), while the others go on.
    explicit ExitGuard(std::function<void()> fBeforeEnd = [] {});
    ~ExitGuard();
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;

    /// To be called when a library has been loaded: the process then ends before exit() destroys the
    /// library's objects, which other threads use.
    static void renew();

private:
    static void onExit();

    static ExitGuard* s_pGuard;

    const std::function<void()> m_fBeforeEnd;
};

}  // namespace webcontainer
