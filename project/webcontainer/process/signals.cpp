#include "process/signals.h"

#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>

#include "base/starterror.h"

namespace webcontainer {

namespace {

sigset_t makeSet(bool bWithOthers) {
    sigset_t tSet;
    sigemptyset(&tSet);
    sigaddset(&tSet, SIGTERM);
    sigaddset(&tSet, SIGINT);
    if (!bWithOthers) return tSet;
    sigaddset(&tSet, SIGHUP);
    sigaddset(&tSet, SIGQUIT);
    return tSet;
}

}  // namespace

Signals::Signals() {
    const sigset_t tSet = makeSet(true);
    pthread_sigmask(SIG_BLOCK, &tSet, nullptr);
    m_tSignals = FileDescriptor(::signalfd(-1, &tSet, SFD_CLOEXEC));
    if (!m_tSignals.isOpen()) throwStartError("cannot receive signals: " + describeError(errno));
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

Signals::ESignal Signals::wait() {
    signalfd_siginfo tInfo{};
    while (::read(m_tSignals.get(), &tInfo, sizeof tInfo) != sizeof tInfo) {
    }
    if (tInfo.ssi_signo == SIGQUIT) return ESignal::kShowWork;
    return tInfo.ssi_signo == SIGHUP ? ESignal::kReload : ESignal::kEnd;
}

void Signals::watchEndOnly() {
    const sigset_t tSet = makeSet(false);
    ::signalfd(m_tSignals.get(), &tSet, 0);
}

}  // namespace webcontainer
