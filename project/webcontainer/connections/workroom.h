#pragma once

#include <semaphore.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "connections/eventbatch.h"
#include "connections/poller.h"

namespace webcontainer {

/// Keeps as few workers awake as the work needs: the kernel wakes a waiting thread for every event, even when
/// a running one would have taken it a moment later.
///
/// To be awake a worker needs a place, of which there are as many as processors; a batch of events goes with
/// it. Usually one worker is awake, and it alone waits in the poller:
///
///     it rests <------- nothing to do, and another is awake ------.
///        `--- called: its place ---> own batch, others' batches, poller <--.
///                                                 |                        |
///                                         an event ---> start() --> done, and still in its place
///                                                          `-----> its place has gone to another: it rests
///
/// A batch that is full, or that has waited for a while, calls another worker. Once a millisecond while
/// requests run, a lookout (watch()) looks for workers that are still in the same request. One that sleeps
/// there loses its place, with what is left of its batch, to one that rests. One that computes keeps it for
/// some ticks, and another is called beside it while there are places; to one that lacks a processor that
/// would be no help.
///
/// So no event waits behind a blocked request for more than a tick or two, and an idle server has no timer:
/// the lookout sleeps until a request begins.
class WorkRoom {
    struct Place;

public:
    /// A worker's view of the room, for that worker's thread alone.
    class Seat {
        friend class WorkRoom;
        Place* m_pPlace = nullptr;  ///< null: it has none; it may also have lost the one that stands here
        std::uint64_t m_nTurn = 0;  ///< of the place, for the event that was started
        bool m_bStarted = false;
    };

    /// rPoller must outlive the room. nPlaces: processors.
    WorkRoom(Poller& rPoller, unsigned nPlaces);
    ~WorkRoom();
    WorkRoom(const WorkRoom&) = delete;
    WorkRoom& operator=(const WorkRoom&) = delete;

    /// The worker's next event, when it is done with its last one; perhaps only after a while.
    Event next(Seat& rSeat) noexcept;
    /// Before start(): leaves an event to whoever has time first. False: there is no room for it.
    bool append(Seat& rSeat, const Event& rEvent) noexcept;
    /// The event may take a while. From now on the worker may lose its place.
    void start(Seat& rSeat) noexcept;
    /// After start(): the event is about to make the worker wait, so another gets its place at once.
    void giveAway(Seat& rSeat) noexcept;
    /// After start(): whether the lookout has taken the worker's place.
    bool hasLostPlace(const Seat& rSeat) const noexcept;

    /// Whether there is an event that no worker has begun with.
    bool isAnybodyWaiting() const noexcept;

    /// The lookout's work; returns after open().
    void watch() noexcept;
    /// From now on nobody rests.
    void open() noexcept;

private:
    bool finish(Seat& rSeat) noexcept;
    Place* rest() noexcept;
    bool takeFromOthers(const Place& rPlace, Event& rEvent) noexcept;
    bool refill(Place& rPlace) noexcept;
    bool retire(Place& rPlace) noexcept;
    void callAnother() noexcept;
    void offer(Place& rPlace) noexcept;
    bool look(Place& rPlace) noexcept;
    bool isAnybodyAtWork() const noexcept;

    Poller& m_rPoller;
    const unsigned m_nPlaces;
    const std::unique_ptr<Place[]> m_pPlaces;
    std::mutex m_tMutex;                        ///< of the two lists
    std::vector<Place*> m_tOffered;             ///< for whoever rests and is woken
    std::vector<Place*> m_tRetired;             ///< that nobody needs now
    sem_t m_tCall;                              ///< as many as there are in m_tOffered
    sem_t m_tAlarm;                             ///< wakes the lookout
    std::atomic<unsigned> m_nAwake{1};          ///< places that are not retired
    std::atomic<unsigned> m_nAttentive{1};      ///< those among them whose worker does not compute for long
    std::atomic<bool> m_bUnwatched{true};       ///< the lookout sleeps
    std::atomic<std::int64_t> m_nEmptiedUs{0};  ///< when somebody took all that the poller had
    std::atomic<bool> m_bOpen{false};
};

}  // namespace webcontainer
