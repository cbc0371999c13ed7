#include "connections/workroom.h"

#include <unistd.h>

#include <array>
#include <thread>

#include "base/monotonicclock.h"
#include "base/threadstate.h"

namespace webcontainer {

namespace {

/// What the lowest bits of a place's turn say; the others count the events that were run in it.
enum EState : std::uint64_t { kIdle = 0, kAtWork = 1, kComputing = 2, kStates = 3 };
constexpr std::uint64_t s_knNextTurn = 4;

/// Events that are work for two.
constexpr unsigned s_knFullBatch = 16;
/// How long a batch may wait for its only worker.
constexpr std::int64_t s_knPatienceUs = 200;
constexpr std::chrono::milliseconds s_knTick(1);
/// How late an event may be found and yet count as found when it came.
constexpr std::int64_t s_knPromptUs = 1000;
/// How long who is not alone waits in the poller before it looks at the others' batches again.
constexpr int s_knLookAroundMs = 5;
constexpr int s_knForEver = -1;
/// Ticks without a request after which the lookout goes to sleep; waking it costs more than some of them.
constexpr int s_knIdleTicks = 10;
/// Ticks after which a worker loses its place even when it computes, so that the kernel divides the
/// processors among long requests and the others; after fewer it may only have lacked a processor itself.
constexpr int s_knMostTicks = 30;

void wait(sem_t& r) noexcept {
    while (::sem_wait(&r) != 0) {
    }
}

}  // namespace

struct alignas(64) WorkRoom::Place {
    EventBatch tBatch;
    std::atomic<std::uint64_t> nTurn{0};
    std::atomic<int> nThread{0};  ///< of the worker that has it
    std::int64_t nFilledUs = 0;   ///< when the batch was; its worker's
    std::uint64_t nSeen = 0;      ///< the turn at the last tick; the lookout's
    int nTicks = 0;               ///< since that turn was first seen; the lookout's
};

WorkRoom::WorkRoom(Poller& rPoller, unsigned nPlaces)
    : m_rPoller(rPoller),
      m_nPlaces(nPlaces),
      m_pPlaces(std::make_unique<Place[]>(nPlaces)) {
    m_tOffered.reserve(nPlaces);
    m_tRetired.reserve(nPlaces);
    for (unsigned n = 1; n < nPlaces; ++n)
        m_tRetired.push_back(&m_pPlaces[n]);
    m_tOffered.push_back(&m_pPlaces[0]);
    ::sem_init(&m_tCall, 0, 1);
    ::sem_init(&m_tAlarm, 0, 0);
}

WorkRoom::~WorkRoom() {
    ::sem_destroy(&m_tCall);
    ::sem_destroy(&m_tAlarm);
}

Event WorkRoom::next(Seat& rSeat) noexcept {
    if (rSeat.m_bStarted && !finish(rSeat)) rSeat.m_pPlace = nullptr;
    rSeat.m_bStarted = false;
    Event tEvent{};
    for (;;) {
        if (!rSeat.m_pPlace) rSeat.m_pPlace = rest();
        if (!rSeat.m_pPlace) {  // nobody rests any more, and there are more workers than places
            m_rPoller.wait({&tEvent, 1}, s_knForEver);
            return tEvent;
        }
        Place& rPlace = *rSeat.m_pPlace;
        if (rPlace.tBatch.take(tEvent)) {
            const bool bLate = !rPlace.tBatch.isEmpty() &&
                               m_nAwake.load(std::memory_order_relaxed) < m_nPlaces &&
                               monotonicUs() - rPlace.nFilledUs > s_knPatienceUs;
            if (bLate) callAnother();
            return tEvent;
        }
        if (takeFromOthers(rPlace, tEvent)) return tEvent;
        if (!refill(rPlace)) rSeat.m_pPlace = nullptr;
    }
}

bool WorkRoom::append(Seat& rSeat, const Event& rEvent) noexcept {
    return rSeat.m_pPlace && rSeat.m_pPlace->tBatch.append(rEvent);
}

void WorkRoom::start(Seat& rSeat) noexcept {
    if (!rSeat.m_pPlace) return;
    rSeat.m_bStarted = true;
    rSeat.m_nTurn = rSeat.m_pPlace->nTurn.load(std::memory_order_relaxed);
    // In one order with the lookout's going to sleep: one of the two sees what the other has done.
    rSeat.m_pPlace->nTurn.store(rSeat.m_nTurn | kAtWork, std::memory_order_seq_cst);
    if (m_bUnwatched.load(std::memory_order_seq_cst) && m_bUnwatched.exchange(false)) ::sem_post(&m_tAlarm);
}

/// False: the place has been lost.
bool WorkRoom::finish(Seat& rSeat) noexcept {
    std::uint64_t nTurn = rSeat.m_nTurn | kAtWork;
    while (!rSeat.m_pPlace->nTurn.compare_exchange_strong(nTurn, rSeat.m_nTurn + s_knNextTurn,
                                                          std::memory_order_acq_rel))
        if (nTurn != (rSeat.m_nTurn | kComputing)) return false;
    if ((nTurn & kStates) == kComputing) m_nAttentive.fetch_add(1, std::memory_order_relaxed);
    return true;
}

bool WorkRoom::hasLostPlace(const Seat& rSeat) const noexcept {
    if (!rSeat.m_bStarted) return false;
    const std::uint64_t nTurn = rSeat.m_pPlace->nTurn.load(std::memory_order_relaxed);
    return (nTurn & ~std::uint64_t{kStates}) != rSeat.m_nTurn;
}

void WorkRoom::giveAway(Seat& rSeat) noexcept {
    if (!rSeat.m_bStarted) return;
    if (finish(rSeat)) offer(*rSeat.m_pPlace);
    rSeat.m_bStarted = false;
    rSeat.m_pPlace = nullptr;
}

/// Returns a place when it is offered; null when nobody rests any more.
WorkRoom::Place* WorkRoom::rest() noexcept {
    wait(m_tCall);
    if (m_bOpen.load(std::memory_order_relaxed)) ::sem_post(&m_tCall);  // the next one need not wait either
    const std::lock_guard tLock(m_tMutex);
    if (m_tOffered.empty()) return nullptr;
    Place* const pPlace = m_tOffered.back();
    m_tOffered.pop_back();
    pPlace->nThread.store(::gettid(), std::memory_order_relaxed);
    return pPlace;
}

bool WorkRoom::takeFromOthers(const Place& rPlace, Event& rEvent) noexcept {
    if (m_nAwake.load(std::memory_order_relaxed) < 2) return false;
    for (unsigned n = 0; n < m_nPlaces; ++n)
        if (&m_pPlaces[n] != &rPlace && m_pPlaces[n].tBatch.take(rEvent)) return true;
    return false;
}

/// False: there is nothing to do, and the place is retired.
bool WorkRoom::refill(Place& rPlace) noexcept {
    std::array<Event, Poller::s_knMost> tEvents;
    unsigned nEvents = 0;
    if (m_nAwake.load(std::memory_order_relaxed) > 1) {
        nEvents = m_rPoller.wait(tEvents, 0);
        if (nEvents == 0 && retire(rPlace)) return false;
    }
    // While others are awake, one of them may come to sleep with events in its batch.
    if (nEvents == 0)
        nEvents = m_rPoller.wait(
            tEvents, m_nAwake.load(std::memory_order_relaxed) > 1 ? s_knLookAroundMs : s_knForEver);
    rPlace.nFilledUs = monotonicUs();
    if (rPlace.nFilledUs - m_nEmptiedUs.load(std::memory_order_relaxed) <= s_knPromptUs)
        for (unsigned n = 0; n < nEvents; ++n)
            tEvents[n].nReadyUs = rPlace.nFilledUs;
    rPlace.tBatch.fill({tEvents.data(), nEvents});
    if (nEvents < Poller::s_knMost) m_nEmptiedUs.store(rPlace.nFilledUs, std::memory_order_relaxed);
    if (nEvents >= s_knFullBatch) callAnother();
    return true;
}

/// False: no other worker is there to ask the poller.
bool WorkRoom::retire(Place& rPlace) noexcept {
    if (m_bOpen.load(std::memory_order_relaxed)) return false;
    for (unsigned n = m_nAttentive.load(std::memory_order_relaxed);;) {
        if (n < 2) return false;
        if (m_nAttentive.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) break;
    }
    const std::lock_guard tLock(m_tMutex);
    m_nAwake.fetch_sub(1, std::memory_order_relaxed);
    m_tRetired.push_back(&rPlace);
    return true;
}

void WorkRoom::callAnother() noexcept {
    if (m_nAwake.load(std::memory_order_relaxed) == m_nPlaces) return;
    Place* pPlace = nullptr;
    {
        const std::lock_guard tLock(m_tMutex);
        if (m_tRetired.empty()) return;
        pPlace = m_tRetired.back();
        m_tRetired.pop_back();
        m_nAwake.fetch_add(1, std::memory_order_relaxed);
        m_nAttentive.fetch_add(1, std::memory_order_relaxed);
    }
    offer(*pPlace);
}

void WorkRoom::offer(Place& rPlace) noexcept {
    {
        const std::lock_guard tLock(m_tMutex);
        m_tOffered.push_back(&rPlace);
    }
    ::sem_post(&m_tCall);
}

/// True: somebody is at work in the place.
bool WorkRoom::look(Place& rPlace) noexcept {
    std::uint64_t nTurn = rPlace.nTurn.load(std::memory_order_acquire);
    const bool bSame = nTurn == rPlace.nSeen;
    rPlace.nSeen = nTurn;
    rPlace.nTicks = bSame ? rPlace.nTicks + 1 : 0;
    if ((nTurn & kStates) == kIdle) return false;
    if (!bSame) return true;
    const std::uint64_t nBare = nTurn & ~std::uint64_t{kStates};
    const bool bComputing = (nTurn & kStates) == kComputing;
    if (rPlace.nTicks > s_knMostTicks || isAsleep(rPlace.nThread.load(std::memory_order_relaxed))) {
        if (!rPlace.nTurn.compare_exchange_strong(nTurn, nBare + s_knNextTurn, std::memory_order_acq_rel))
            return true;
        if (bComputing) m_nAttentive.fetch_add(1, std::memory_order_relaxed);
        offer(rPlace);
    } else if (!bComputing) {
        m_nAttentive.fetch_sub(1, std::memory_order_relaxed);  // never too many, lest all retire
        if (!rPlace.nTurn.compare_exchange_strong(nTurn, nBare | kComputing)) {
            m_nAttentive.fetch_add(1, std::memory_order_relaxed);
            return true;
        }
        rPlace.nSeen = nBare | kComputing;
        callAnother();
    }
    return true;
}

bool WorkRoom::isAnybodyAtWork() const noexcept {
    for (unsigned n = 0; n < m_nPlaces; ++n)
        if ((m_pPlaces[n].nTurn.load(std::memory_order_seq_cst) & kStates) != kIdle) return true;
    return false;
}

bool WorkRoom::isAnybodyWaiting() const noexcept {
    for (unsigned n = 0; n < m_nPlaces; ++n)
        if (!m_pPlaces[n].tBatch.isEmpty()) return true;
    return m_rPoller.hasReady();
}

void WorkRoom::watch() noexcept {
    for (int nIdle = 0; !m_bOpen.load(std::memory_order_relaxed);) {
        std::this_thread::sleep_for(s_knTick);
        bool bAtWork = false;
        for (unsigned n = 0; n < m_nPlaces; ++n)
            bAtWork = look(m_pPlaces[n]) || bAtWork;
        nIdle = bAtWork ? 0 : nIdle + 1;
        if (nIdle < s_knIdleTicks) continue;
        m_bUnwatched.store(true, std::memory_order_seq_cst);
        if (isAnybodyAtWork() && m_bUnwatched.exchange(false)) continue;
        wait(m_tAlarm);
        nIdle = 0;
    }
}

void WorkRoom::open() noexcept {
    m_bOpen = true;
    ::sem_post(&m_tCall);
    ::sem_post(&m_tAlarm);
}

}  // namespace webcontainer
