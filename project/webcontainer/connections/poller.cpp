#include "connections/poller.h"

#include <sys/epoll.h>

#include <cerrno>

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

Event Poller::wait() noexcept {
    // One event at a time: a worker that took more would hold them up while an application blocks it.
    epoll_event tEvent;
    while (epoll_wait(m_tEpoll.get(), &tEvent, 1, -1) != 1) {
    }
    return {tEvent.data.fd, (tEvent.events & (EPOLLPRI | EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0};
}

}  // namespace webcontainer
