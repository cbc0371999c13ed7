#include "log/accesslog.h"

#include <fcntl.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <utility>

#include "base/monotonicclock.h"
#include "base/starterror.h"
#include "log/containerlog.h"

namespace webcontainer {

namespace {

constexpr char s_ksStandardOutput[] = "-";
constexpr std::chrono::milliseconds s_knFlushInterval(100);

}  // namespace

AccessLog::AccessLog(const AccessLogSettings& rSettings) : m_tSettings(rSettings), m_tFile(open()) {
    if (!m_tFile.isOpen())
        throwStartError("cannot open the access log " + m_tSettings.sFile + ": " + describeError(errno) +
                        "; choose another file with AccessLog/File");
    m_tFlusher = std::jthread([this](const std::stop_token& rStop) { flushNowAndThen(rStop); });
}

FileDescriptor AccessLog::open() const noexcept {
    if (m_tSettings.sFile == s_ksStandardOutput) return FileDescriptor(::fcntl(1, F_DUPFD_CLOEXEC, 0));
    // Not blocking matters for a named pipe only: without a reader its lines are lost.
    constexpr int knFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    return FileDescriptor(::open(m_tSettings.sFile.c_str(), knFlags, 0640));
}

void AccessLog::write(std::string_view sLines) noexcept {
    const std::lock_guard tLock(m_tFileMutex);
    while (!sLines.empty()) {
        // The line end that a torn line lacks, so that it costs no other line.
        const std::size_t nEnd = m_bTorn ? 1 : 0;
        const iovec tPieces[] = {{const_cast<char*>("\n"), nEnd},
                                 {const_cast<char*>(sLines.data()), sLines.size()}};
        const ssize_t nWritten = ::writev(m_tFile.get(), tPieces, 2);
        if (nWritten <= 0)
            return countLost(static_cast<std::uint64_t>(std::ranges::count(sLines, '\n')), errno);
        const std::size_t nTaken = static_cast<std::size_t>(nWritten) - nEnd;
        m_bTorn = nTaken != 0 && sLines[nTaken - 1] != '\n';
        sLines.remove_prefix(nTaken);
        if (!m_bTorn) continue;
        sLines.remove_prefix(sLines.find('\n') + 1);
        countLost(1, ENOSPC);
    }
}

void AccessLog::flush() noexcept {
    const std::lock_guard tLock(m_tBlocksMutex);
    for (AccessBlock* const p : m_tBlocks) {
        const std::unique_lock tBlockLock(p->m_tMutex, std::try_to_lock);
        if (tBlockLock) p->write();
    }
}

void AccessLog::flushNowAndThen(const std::stop_token& rStop) noexcept {
    std::mutex tMutex;
    std::condition_variable_any tNever;
    std::unique_lock tLock(tMutex);
    while (!tNever.wait_for(tLock, rStop, s_knFlushInterval, [&] { return rStop.stop_requested(); }))
        flush();
}

void AccessLog::countLost(std::uint64_t nLines, int nError) noexcept {
    const std::uint64_t nLost = m_nLost.fetch_add(nLines, std::memory_order_relaxed) + nLines;
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
    flush();  // what was logged before belongs into the old file
    FileDescriptor tNew = open();
    if (tNew.isOpen()) {
        const std::lock_guard tLock(m_tFileMutex);
        m_tFile = std::move(tNew);
        m_bTorn = false;
        return;
    }
    const int nError = errno;
    try {
        logText(kSevError, s_lsContainer,
                "the access log could not be opened anew, the old file is kept: " + describeError(nError));
    } catch (const std::bad_alloc&) {
        // Nothing else is at stake.
    }
}

AccessBlock::AccessBlock(AccessLog* pLog) : m_pLog(pLog) {
    if (!pLog) return;
    m_tLines.reserve(s_knFull + s_knFull / 8);
    const std::lock_guard tLock(pLog->m_tBlocksMutex);
    pLog->m_tBlocks.push_back(this);
}

AccessBlock::~AccessBlock() {
    if (!m_pLog) return;
    const std::lock_guard tLock(m_pLog->m_tBlocksMutex);
    write();
    std::erase(m_pLog->m_tBlocks, this);
}

void AccessBlock::add(const AccessRecord& rRecord) {
    const std::lock_guard tLock(m_tMutex);
    m_tLine.append(m_tLines, m_pLog->getFormat(), rRecord);
    if (m_tLines.length() >= s_knFull) write();
}

void AccessBlock::countLost() noexcept {
    m_pLog->countLost(1, ENOMEM);
}

/// To be called under a lock.
void AccessBlock::write() noexcept {
    m_pLog->write(m_tLines.view());
    m_tLines.clear();
}

}  // namespace webcontainer
