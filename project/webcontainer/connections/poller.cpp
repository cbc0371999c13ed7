#include "connections/poller.h"

#include <poll.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "base/starterror.h"

namespace webcontainer {

namespace {

/// Reported at the edge, a connection that serves one request after the other needs no system call to be
/// reported again.
constexpr unsigned s_knConnectionEvents = EPOLLIN | EPOLLPRI | EPOLLRDHUP | EPOLLET;
constexpr unsigned s_knListenerEvents = EPOLLIN | EPOLLONESHOT;

bool control(int nEpoll, int nOperation, int nFd, unsigned nEvents) {
    epoll_event tEvent{};
    tEvent.events = nEvents;
    tEvent.data.fd = nFd;
    return epoll_ctl(nEpoll, nOperation, nFd, &tEvent) == 0;
}

}  // namespace

Poller::Poller() : m_tEpoll(epoll_create1(EPOLL_CLOEXEC)) {
    if (!m_tEpoll.isOpen()) throwStartError("cannot wait for events: " + describeError(errno));
}

bool Poller::add(int nFd) noexcept {
    return control(m_tEpoll.get(), EPOLL_CTL_ADD, nFd, s_knConnectionEvents);
}

void Poller::arm(int nFd) noexcept {
    control(m_tEpoll.get(), EPOLL_CTL_MOD, nFd, s_knConnectionEvents);
}

void Poller::enqueue(int nFd) noexcept {
    control(m_tEpoll.get(), EPOLL_CTL_MOD, nFd, s_knConnectionEvents | EPOLLOUT);
}

void Poller::mute(int nFd) noexcept {
    control(m_tEpoll.get(), EPOLL_CTL_MOD, nFd, EPOLLET);
}

bool Poller::addListener(int nFd) noexcept {
    return control(m_tEpoll.get(), EPOLL_CTL_ADD, nFd, s_knListenerEvents);
}

void Poller::armListener(int nFd) noexcept {
    control(m_tEpoll.get(), EPOLL_CTL_MOD, nFd, s_knListenerEvents);
}

void Poller::watchAlways(int nFd) {
    if (!control(m_tEpoll.get(), EPOLL_CTL_ADD, nFd, EPOLLIN))
        throwStartError("cannot wait for events: " + describeError(errno));
}

bool Poller::hasReady() const noexcept {
    pollfd tPoll{m_tEpoll.get(), POLLIN, 0};
    return ::poll(&tPoll, 1, 0) > 0;
}

unsigned Poller::wait(std::span<Event> tEvents, int nMs) noexcept {
    epoll_event tReady[s_knMost];
    const int nMost = static_cast<int>(std::min(tEvents.size(), std::size(tReady)));
    int nReady = 0;
    do {
        nReady = epoll_wait(m_tEpoll.get(), tReady, nMost, nMs);
    } while (nMs < 0 && nReady < 1);
    for (int n = 0; n < nReady; ++n)
        tEvents[static_cast<std::size_t>(n)] = {
            tReady[n].data.fd, (tReady[n].events & (EPOLLPRI | EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0, 0};
    return static_cast<unsigned>(std::max(nReady, 0));
}

}  // namespace webcontainer
