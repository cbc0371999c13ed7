#include "zq/services/logfilewriter.h"

#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>

#include "logline.h"
#include "zq/foundation/utf8text.h"
#include "zq/services/performancecounters.h"

namespace {

using SinkPtr = std::unique_ptr<spdlog::sinks::sink>;
using Clock = std::chrono::steady_clock;

constexpr char s_ksOwnSource[] = "services.log";
/// How long a log that cannot be written rests between attempts. An attempt to open may take 50 ms, in which
/// whoever logs waits.
constexpr std::chrono::seconds s_knRest{1};

performance::PerfCounterT<performance::Atomic32Policy> s_tLost(
    "Log/LostEntries", "Lost Log Entries", "The number of log entries that could not be written.");

/// To open a pipe that nobody reads would wait for a reader, and keep everybody waiting who logs.
void refuseUnreadPipe(const std::string& sPath) {
    const int nFd = ::open(sPath.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (nFd >= 0) ::close(nFd);
    if (nFd < 0 && errno == ENXIO) throw spdlog::spdlog_ex("nobody reads the pipe " + sPath);
}

SinkPtr openSink(const LogFileSettings& rSettings) {
    refuseUnreadPipe(rSettings.sPath);
    SinkPtr pSink;
    if (rSettings.sPath.empty())
        pSink = std::make_unique<spdlog::sinks::stderr_sink_st>();
    else if (rSettings.nMaxBytes == 0)
        pSink = std::make_unique<spdlog::sinks::basic_file_sink_st>(rSettings.sPath);
    else
        pSink = std::make_unique<spdlog::sinks::rotating_file_sink_st>(rSettings.sPath, rSettings.nMaxBytes,
                                                                       rSettings.nMaxFiles);
    pSink->set_pattern("%v");
    return pSink;
}

/// Whether a file ends within a line, as a full disk leaves it.
bool isTorn(const std::string& sPath) {
    std::error_code tError;
    if (!std::filesystem::is_regular_file(sPath, tError)) return false;
    std::ifstream tFile(sPath, std::ios::binary);
    const int nLast = tFile.seekg(-1, std::ios::end).get();
    return tFile && nLast != '\n';
}

}  // namespace

struct LogFileWriter::Impl {
    explicit Impl(const LogFileSettings& rSettings) : m_tSettings(rSettings), m_pSink(openSink(rSettings)) {}

    void write(const LogEntry& rEntry) {
        NarrowStringBuffer tLine;
        format(tLine, rEntry);
        const std::lock_guard tLock(m_tMutex);
        if (!m_pSink) openAgain();
        if (m_pSink && m_nLost != 0) writeLost();
        put(tLine.view());
    }
    /// Holds the lock throughout: the old sink must not rotate the file that the new one has just opened.
    void reopen() {
        const std::lock_guard tLock(m_tMutex);
        try {
            m_pSink = openSink(m_tSettings);
        } catch (const std::exception& e) {
            writeOwn(kSevError,
                     L"The log could not be opened anew: " + std::wstring(fromUtf8(e.what()).view()));
        }
    }

private:
    void format(NarrowStringBufferBase& rLine, const LogEntry& rEntry) const {
        if (m_tSettings.eFormat == LogFileSettings::EFormat::kJson)
            appendJsonLine(rLine, rEntry);
        else
            appendTextLine(rLine, rEntry);
    }
    void writeOwn(ELogSeverity eSeverity, std::wstring_view sText) {
        NarrowStringBuffer tLine;
        format(tLine, {eSeverity, s_ksOwnSource, sText, {}});
        put(tLine.view());
    }
    void writeLost() {
        if (isTorn(m_tSettings.sPath.empty() ? "/proc/self/fd/2" : m_tSettings.sPath)) put({});
        writeOwn(kSevWarning,
                 std::to_wstring(m_nLost) + L" entries were lost because the log could not be written.");
        if (m_pSink) m_nLost = 0;
    }
    /// Every entry is flushed: one system call for each, but nothing waits in this process when it is killed.
    void put(std::string_view sLine) noexcept {
        if (!m_pSink) return countLost();
        try {
            m_pSink->log({s_ksOwnSource, spdlog::level::info, {sLine.data(), sLine.size()}});
            m_pSink->flush();
            // Which the sink of standard error does not look at.
            if (!m_tSettings.sPath.empty() || std::ferror(stderr) == 0) return;
            std::clearerr(stderr);
            fail();
        } catch (const std::exception&) {
            fail();
        }
    }
    /// A sink that has failed is not used again: when a rotation finds no descriptor free it is left without
    /// a file, and would write to it all the same.
    void fail() noexcept {
        m_pSink.reset();
        m_tNextAttempt = Clock::now() + s_knRest;
        countLost();
    }
    void countLost() noexcept {
        ++m_nLost;
        s_tLost.increment();
    }
    void openAgain() noexcept {
        if (Clock::now() < m_tNextAttempt) return;
        try {
            m_pSink = openSink(m_tSettings);
        } catch (const std::exception&) {
            m_tNextAttempt = Clock::now() + s_knRest;
        }
    }

    const LogFileSettings m_tSettings;

    std::mutex m_tMutex;  ///< guards what follows; the sinks themselves are single-threaded
    SinkPtr m_pSink;      ///< null after a failure, until it can be opened again
    Clock::time_point m_tNextAttempt{};
    std::size_t m_nLost = 0;  ///< entries dropped since the failure
};

LogFileWriter::LogFileWriter(const LogFileSettings& rSettings) try : m_pImpl(new Impl(rSettings)) {
} catch (const spdlog::spdlog_ex& e) {
    const std::string sWhat = "The log \"" + rSettings.sPath + "\" cannot be opened: " + e.what();
    ZQTHROW_prethrowProcessException(ConfigError(fromUtf8(sWhat)), false, ZQ_WFILE, __LINE__);
}

LogFileWriter::~LogFileWriter() = default;

void LogFileWriter::write(const LogEntry& rEntry) noexcept {
    try {
        m_pImpl->write(rEntry);
    } catch (const std::exception&) {
        // No memory for the line.
    }
}

void LogFileWriter::reopen() noexcept {
    try {
        m_pImpl->reopen();
    } catch (const std::exception&) {
        // No memory for the complaint.
    }
}
