#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "base/filedescriptor.h"
#include "base/rarely.h"
#include "log/recordqueue.h"
#include "zq/recording/recording.h"

namespace webcontainer {

/// Which requests are recorded, and where.
struct RecorderSettings {
    std::string sFolder{};    ///< empty: none is
    bool bFailedOnly = true;  ///< of status 500 and more, cut off, left by an exception, or refused
    unsigned nOneIn = 1;      ///< of so many requests, one is watched on average
    std::size_t nMaxRequestBytes = 1 << 20;
    std::uint64_t nMaxFolderBytes = 1 << 30;
    std::vector<std::string> tRedacted{};  ///< names of header fields whose values are kept out
};

/// Puts into "(redacted)" what the fields of these names say: in headers both ways, in their HTTP_ server
/// variables and, as letters x, in the bytes of a refused request, which stays as long as it was.
void redact(Recording& rRecording, const std::vector<std::string>& rNames);

/// Writes recordings, each to a file of its own in one folder, on a thread of its own. Who hands one over
/// waits for no disk: what the queue has no room for is lost and counted. When a file cannot be written
/// whole, recording stops, and what comes is lost, until goOn(). A full folder loses recordings until
/// somebody has taken some away.
class Recorder {
public:
    /// Throws StartError when the folder cannot be written to, and std::system_error when there are no more
    /// threads.
    explicit Recorder(const RecorderSettings& rSettings);

    const RecorderSettings& getSettings() const noexcept { return m_tSettings; }
    /// Any thread.
    void take(std::unique_ptr<RecordingDraft> pDraft) noexcept;
    void countLost() noexcept { m_nLost.fetch_add(1, std::memory_order_relaxed); }
    /// Tries again after a failure. Any thread.
    void goOn() noexcept { m_bStopped = false; }
    /// Waits for what has been handed over to be written, but no longer than a second.
    void flush() noexcept { m_tQueue.waitUntilDone(); }

    std::uint64_t getWritten() const noexcept { return m_nWritten.load(std::memory_order_relaxed); }
    std::uint64_t getLost() const noexcept { return m_nLost.load(std::memory_order_relaxed); }

private:
    void run(const std::stop_token& rStop) noexcept;
    void write(Recording tRecording);
    int openFolder() const noexcept;
    bool hasRoomFor(std::size_t nBytes);
    std::uint64_t sumFolder() const;
    bool writeFile(const std::string& sName, std::string_view sText) noexcept;

    const RecorderSettings m_tSettings;
    FileDescriptor m_tFolder;
    std::uint64_t m_nFolderBytes;  ///< in the folder, as far as is known
    std::uint64_t m_nFiles = 0;
    Rarely m_tFull;
    std::atomic<bool> m_bStopped{false};
    std::atomic<std::uint64_t> m_nWritten{0};
    std::atomic<std::uint64_t> m_nLost{0};
    RecordQueue m_tQueue;
    std::jthread m_tWriter;  ///< ends before all else
};

/// One thread's share of the requests: which of them are watched. At random, as a fixed distance may keep
/// step with what clients ask for, and see only the half of it.
class RecordShare {
public:
    /// pRecorder must outlive it; null: nothing is recorded.
    explicit RecordShare(Recorder* pRecorder) noexcept
        : m_pRecorder(pRecorder),
          m_nLeft(pRecorder ? draw() : 0) {}

    /// To be asked once for each request.
    bool isNext() noexcept {
        if (!m_pRecorder || --m_nLeft != 0) return false;
        m_nLeft = draw();
        return true;
    }
    /// Once isNext() has been true.
    Recorder& getRecorder() const noexcept { return *m_pRecorder; }

private:
    unsigned draw() const noexcept;

    Recorder* const m_pRecorder;
    unsigned m_nLeft;  ///< until the next one
};

}  // namespace webcontainer
