#pragma once

#include <atomic>
#include <cstdint>

namespace webcontainer {

/// Says which thread may touch a connection: none, the kernel's waiting list, or one owner. All transitions
/// are here; the owner is whoever made the last one.
///
///     kFree ---- open() ----> kOwned ------- release() ------> kWaiting
///       ^                      | ^ `- claimForEvent() of another -> kOwnedReady -- release() -> kOwned again
///       `------ free() --------'  `------- claimForEvent(), claim() ----'
///
/// An event can come to another thread while the connection has an owner; that thread leaves a note
/// (kOwnedReady), and the owner goes on as if it had the event itself. An event can also be late and meet
/// another connection under the same descriptor: it then makes an owner look at its socket once for nothing.
class Ownership {
public:
    /// A new connection, whose owner is the caller. Acquires what the last owner under this descriptor
    /// released.
    void open() noexcept { m_eState.exchange(EState::kOwned, std::memory_order_acq_rel); }
    /// The descriptor may be used anew from now on, by anybody.
    void free() noexcept { m_eState.store(EState::kFree, std::memory_order_release); }

    /// After an event. True: the caller owns the connection now.
    bool claimForEvent() noexcept {
        for (EState eState = m_eState.load(std::memory_order_acquire);;) {
            if (eState != EState::kWaiting && eState != EState::kOwned) return false;
            const EState eNew = eState == EState::kWaiting ? EState::kOwned : EState::kOwnedReady;
            if (m_eState.compare_exchange_weak(eState, eNew, std::memory_order_acq_rel))
                return eNew == EState::kOwned;
        }
    }
    /// Without an event. True: the caller owns the connection now.
    bool claim() noexcept {
        EState eState = EState::kWaiting;
        return m_eState.compare_exchange_strong(eState, EState::kOwned, std::memory_order_acq_rel);
    }
    /// False: an event has come meanwhile, and the caller still owns the connection.
    bool release() noexcept {
        EState eState = EState::kOwned;
        if (m_eState.compare_exchange_strong(eState, EState::kWaiting, std::memory_order_acq_rel))
            return true;
        m_eState.store(EState::kOwned, std::memory_order_relaxed);
        return false;
    }
    /// A guess.
    bool isFree() const noexcept { return m_eState.load(std::memory_order_relaxed) == EState::kFree; }
    /// A guess, for those who will claim() before they act on it.
    bool isWaiting() const noexcept { return m_eState.load(std::memory_order_acquire) == EState::kWaiting; }

private:
    enum class EState : std::uint8_t { kFree, kOwned, kOwnedReady, kWaiting };

    std::atomic<EState> m_eState{EState::kFree};
};

}  // namespace webcontainer
