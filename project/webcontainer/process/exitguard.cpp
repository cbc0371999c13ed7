#include "process/exitguard.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>

#include "base/starterror.h"
#include "log/containerlog.h"
#include "process/commandline.h"
#include "requests/requestwatch.h"

namespace webcontainer {

ExitGuard* ExitGuard::s_pGuard = nullptr;

ExitGuard::ExitGuard(std::function<void()> fBeforeEnd) : m_fBeforeEnd(std::move(fBeforeEnd)) {
    s_pGuard = this;
    renew();
}

ExitGuard::~ExitGuard() {
    s_pGuard = nullptr;
}

void ExitGuard::renew() {
    if (std::atexit(onExit) != 0 || std::at_quick_exit(onExit) != 0)
        throwStartError("there is no memory to notice the end of the process");
}

void ExitGuard::onExit() {
    if (!s_pGuard) return;
    static std::atomic<bool> s_bEnding{false};
    while (s_bEnding.exchange(true))  // another thread ends the process
        ::pause();
    try {
        RequestContext* const pRequest = RequestWatch::getCurrent();
        logText(kSevError, s_lsContainer,
                "the application has ended the process by exit(), " +
                    (pRequest ? "in " + pRequest->describe() : std::string("in no request")));
        s_pGuard->m_fBeforeEnd();
    } catch (const std::exception&) {
        // No memory to say more than the exit code does.
    }
    ::_exit(kExitByApplication);
}

}  // namespace webcontainer
