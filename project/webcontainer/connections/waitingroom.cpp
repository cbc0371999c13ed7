#include "connections/waitingroom.h"

#include <limits>

namespace webcontainer {

WaitingRoom::WaitingRoom(unsigned nMostWaiting) noexcept : m_nMostWaiting(nMostWaiting) {
    ::sem_init(&m_tCalled, 0, 0);
}

WaitingRoom::~WaitingRoom() {
    ::sem_destroy(&m_tCalled);
}

void WaitingRoom::enter() noexcept {
    Numbers tNow = m_tNumbers.load(std::memory_order_relaxed);
    Numbers tNew;
    do {
        const bool bHeld = tNow.nWaiting >= m_nMostWaiting.load(std::memory_order_relaxed);
        tNew = bHeld ? Numbers{tNow.nWaiting, tNow.nHeld + 1} : Numbers{tNow.nWaiting + 1, tNow.nHeld};
    } while (!m_tNumbers.compare_exchange_weak(tNow, tNew, std::memory_order_relaxed));
    if (tNew.nHeld == tNow.nHeld) return;
    // Whoever calls has counted the called one as waiting already.
    while (::sem_wait(&m_tCalled) != 0) {
    }
}

void WaitingRoom::leave() noexcept {
    Numbers tNow = m_tNumbers.load(std::memory_order_relaxed);
    Numbers tNew;
    do {
        const bool bCall = tNow.nWaiting == 1 && tNow.nHeld > 0;
        tNew = bCall ? Numbers{1, tNow.nHeld - 1} : Numbers{tNow.nWaiting - 1, tNow.nHeld};
    } while (!m_tNumbers.compare_exchange_weak(tNow, tNew, std::memory_order_relaxed));
    if (tNew.nHeld != tNow.nHeld) ::sem_post(&m_tCalled);
}

void WaitingRoom::open() noexcept {
    m_nMostWaiting.store(std::numeric_limits<std::uint32_t>::max(), std::memory_order_relaxed);
    Numbers tNow = m_tNumbers.load(std::memory_order_relaxed);
    while (!m_tNumbers.compare_exchange_weak(tNow, Numbers{tNow.nWaiting + tNow.nHeld, 0},
                                             std::memory_order_relaxed)) {
    }
    for (std::uint32_t n = 0; n < tNow.nHeld; ++n)
        ::sem_post(&m_tCalled);
}

}  // namespace webcontainer
