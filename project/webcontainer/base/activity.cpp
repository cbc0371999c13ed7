#include "base/activity.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>

namespace webcontainer {

namespace {

/// Returns how many bytes there were.
std::size_t fetch(char* pTo, const char* pFrom, std::size_t nBytes) noexcept {
    const iovec tTo{pTo, nBytes};
    const iovec tFrom{const_cast<char*>(pFrom), nBytes};
    const ssize_t nFetched = ::process_vm_readv(::getpid(), &tTo, 1, &tFrom, 1, 0);
    return nFetched > 0 ? static_cast<std::size_t>(nFetched) : 0;
}

}  // namespace

std::string_view Activity::Seen::id() const noexcept {
    const std::string_view sId(tId.data(), tId.size());
    return sId.find_first_not_of("0123456789abcdef") == std::string_view::npos ? sId : std::string_view();
}

Activity::Seen Activity::look() const noexcept {
    for (;;) {
        Seen tSeen{};
        const std::uint64_t nTurns = m_nTurns.load(std::memory_order_acquire);
        tSeen.nThread = m_nThread.load(std::memory_order_relaxed);
        if (nTurns % 2 == 0) return tSeen;
        tSeen.nSinceUs = m_nSinceUs.load(std::memory_order_acquire);
        tSeen.eWaiting = m_eWaiting.load(std::memory_order_acquire);
        fetch(tSeen.tId.data(), m_pId.load(std::memory_order_acquire), tSeen.tId.size());
        tSeen.nLine = fetch(tSeen.tLine.data(), m_pLine.load(std::memory_order_acquire),
                            std::min(m_nLine.load(std::memory_order_acquire), tSeen.tLine.size()));
        std::replace(tSeen.tLine.begin(), tSeen.tLine.end(), '\0', ' ');
        if (m_nTurns.load(std::memory_order_relaxed) == nTurns) return tSeen;
    }
}

}  // namespace webcontainer
