#include "log/accesslog.h"

#include <fcntl.h>
#include <sys/uio.h>

#include <cerrno>

#include "base/monotonicclock.h"
#include "base/starterror.h"
#include "log/containerlog.h"

namespace webcontainer {

namespace {

constexpr char s_ksStandardOutput[] = "-";

}  // namespace

AccessLog::AccessLog(const AccessLogSettings& rSettings) : m_tSettings(rSettings), m_tFile(open()) {
    if (!m_tFile.isOpen())
        throwStartError("cannot open the access log " + m_tSettings.sFile + ": " + describeError(errno) +
                        "; choose another file with AccessLog/File");
}

FileDescriptor AccessLog::open() const noexcept {
    if (m_tSettings.sFile == s_ksStandardOutput) return FileDescriptor(::fcntl(1, F_DUPFD_CLOEXEC, 0));
    // Not blocking matters for a named pipe only: without a reader its lines are lost.
    constexpr int knFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    return FileDescriptor(::open(m_tSettings.sFile.c_str(), knFlags, 0640));
}

void AccessLog::write(std::string_view sLine) noexcept {
    // The line end that a torn line lacks, so that it costs no other line.
    const bool bTorn = m_bTorn.load(std::memory_order_relaxed) && m_bTorn.exchange(false);
    const iovec tPieces[] = {{const_cast<char*>("\n"), bTorn ? 1u : 0u},
                             {const_cast<char*>(sLine.data()), sLine.size()}};
    const std::size_t nSize = tPieces[0].iov_len + sLine.size();
    const ssize_t nWritten = ::writev(m_tFile.get(), tPieces, 2);
    if (nWritten == static_cast<ssize_t>(nSize)) return;
    if (nWritten > 0 || bTorn) m_bTorn.store(true, std::memory_order_relaxed);
    countLost(nWritten < 0 ? errno : ENOSPC);
}

void AccessLog::countLost(int nError) noexcept {
    const std::uint64_t nLost = m_nLost.fetch_add(1, std::memory_order_relaxed) + 1;
    const std::int64_t nNowMs = monotonicMs();
    std::int64_t nNextMs = m_nNextComplaintMs.load(std::memory_order_relaxed);
    if (nNowMs < nNextMs ||
        !m_nNextComplaintMs.compare_exchange_strong(nNextMs, nNowMs + s_knComplaintIntervalMs))
        return;
    try {
        logText(kSevError, s_lsContainer,
                "access log lines are lost, " + std::to_string(nLost) + " so far: " + describeError(nError));
    } catch (const std::bad_alloc&) {
        // The count tells it as well.
    }
}

void AccessLog::reopen() noexcept {
    if (m_tSettings.sFile == s_ksStandardOutput) return;
    const FileDescriptor tNew = open();
    // Writers find the old file or the new one under the number, and never none.
    if (tNew.isOpen() && ::dup3(tNew.get(), m_tFile.get(), O_CLOEXEC) >= 0)
        return m_bTorn.store(false, std::memory_order_relaxed);
    const int nError = errno;
    try {
        logText(kSevError, s_lsContainer,
                "the access log could not be opened anew, the old file is kept: " + describeError(nError));
    } catch (const std::bad_alloc&) {
        // Nothing else is at stake.
    }
}

}  // namespace webcontainer
