#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/filedescriptor.h"
#include "log/accessline.h"

namespace webcontainer {

/// Where the access log goes and how it looks.
struct AccessLogSettings {
    std::string sFile;  ///< a path, "-" for standard output, empty for no log
    EAccessFormat eFormat = EAccessFormat::kCombined;
};

class AccessBlock;

/// The file that the access log's lines go to. They gather in the block of the thread that makes them, and
/// are written when it is full and ten times a second, so that a crash costs the lines of a tenth of a
/// second and a request no system call. No line is ever divided between two files. A line that cannot be
/// written is lost and counted; nothing waits for the disk's owner. (Standard output may be a pipe, whose
/// reader can hold the server up.)
class AccessLog {
public:
    /// Throws StartError when the file cannot be opened, and std::system_error when there are no more
    /// threads.
    explicit AccessLog(const AccessLogSettings& rSettings);

    EAccessFormat getFormat() const noexcept { return m_tSettings.eFormat; }
    /// Whole lines, of any thread.
    void write(std::string_view sLines) noexcept;
    /// Writes the lines that wait in blocks; passes over a block at which its thread is just then.
    void flush() noexcept;
    /// Opens the file anew under its name, after an outside tool has moved it away. Keeps the old one when
    /// that fails. Not on two threads at once.
    void reopen() noexcept;
    void countLost(std::uint64_t nLines, int nError) noexcept;
    std::uint64_t getLost() const noexcept { return m_nLost.load(std::memory_order_relaxed); }

private:
    friend class AccessBlock;

    static constexpr std::int64_t s_knComplaintIntervalMs = 10000;

    FileDescriptor open() const noexcept;
    void flushNowAndThen(const std::stop_token& rStop) noexcept;

    const AccessLogSettings m_tSettings;
    std::mutex m_tFileMutex;  ///< guards the file: pipes mix long writes
    FileDescriptor m_tFile;
    bool m_bTorn = false;  ///< the file ends within a line
    std::atomic<std::uint64_t> m_nLost{0};
    std::atomic<std::int64_t> m_nNextComplaintMs{0};
    std::mutex m_tBlocksMutex;
    std::vector<AccessBlock*> m_tBlocks;
    std::jthread m_tFlusher;  ///< ends before all else
};

/// Where the lines of one thread, its owner, gather. Its end writes what is left.
class AccessBlock {
public:
    /// pLog must outlive the block; null: nobody wants lines.
    explicit AccessBlock(AccessLog* pLog);
    ~AccessBlock();
    AccessBlock(const AccessBlock&) = delete;
    AccessBlock& operator=(const AccessBlock&) = delete;

    bool isWanted() const noexcept { return m_pLog; }
    /// Owner only: adds a request's line; it is not there when this throws std::bad_alloc.
    void add(const AccessRecord& rRecord);
    /// For a line that could not even be made.
    void countLost() noexcept;

private:
    friend class AccessLog;

    static constexpr std::size_t s_knFull = 32768;

    void write() noexcept;

    AccessLog* const m_pLog;
    AccessLine m_tLine;
    std::mutex m_tMutex;  ///< guards the lines: the owner's, but for a moment ten times a second
    NarrowStringBuffer m_tLines;
};

}  // namespace webcontainer
