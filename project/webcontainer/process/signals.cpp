#include "process/signals.h"

#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>

#include "base/starterror.h"

namespace webcontainer {

namespace {

sigset_t makeSet(std::initializer_list<int> tSignals) {
    sigset_t tSet;
    sigemptyset(&tSet);
    for (const int n : tSignals)
        sigaddset(&tSet, n);
    return tSet;
}

}  // namespace

Signals::Signals() {
    const sigset_t tSet = makeSet({SIGTERM, SIGINT, SIGHUP}), tQuit = makeSet({SIGQUIT});
    pthread_sigmask(SIG_BLOCK, &tSet, nullptr);
    pthread_sigmask(SIG_BLOCK, &tQuit, nullptr);
    m_tSignals = FileDescriptor(::signalfd(-1, &tSet, SFD_CLOEXEC));
    m_tQuit = FileDescriptor(::signalfd(-1, &tQuit, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_tSignals.isOpen() || !m_tQuit.isOpen())
        throwStartError("cannot receive signals: " + describeError(errno));
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

Signals::ESignal Signals::wait() {
    signalfd_siginfo tInfo{};
    while (::read(m_tSignals.get(), &tInfo, sizeof tInfo) != sizeof tInfo) {
    }
    return tInfo.ssi_signo == SIGHUP ? ESignal::kReload : ESignal::kEnd;
}

void Signals::watchEndOnly() {
    const sigset_t tSet = makeSet({SIGTERM, SIGINT});
    ::signalfd(m_tSignals.get(), &tSet, 0);
}

bool Signals::hasQuitCome() const noexcept {
    signalfd_siginfo tInfo{};
    return ::read(m_tQuit.get(), &tInfo, sizeof tInfo) == sizeof tInfo;
}

}  // namespace webcontainer
