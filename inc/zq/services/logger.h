#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "zq/foundation/gdvalue.h"
#include "zq/foundation/zqexport.h"

/// How much an entry matters, least first.
enum ELogSeverity : unsigned char { kSevDebug, kSevInfoMinor, kSevInfo, kSevWarning, kSevError };
inline constexpr std::size_t knLogSeverities = 5;

/// The severity of a name, case aside: "debug", "infominor", "info", "warning", "error". False: no such name.
ZQ_EXPORT bool parseLogSeverity(std::wstring_view sName, ELogSeverity& reSeverity) noexcept;
ZQ_EXPORT const char* getLogSeverityName(ELogSeverity eSeverity) noexcept;

/// A place in the source, for the writers; the file name lives as long as the process.
struct ZQ_EXPORT LogLocation {
    const wchar_t* pFile = nullptr;
    int nLine = 0;
};

/// Which writers want entries of each severity: bit n stands for the writer in slot n.
using LogWriterMask = std::uint32_t;

/// A named origin of log entries, listed by the registry below for the life of the process.
class ZQ_EXPORT LogSource {
public:
    const char* getName() const noexcept { return m_pName; }
    LogWriterMask getEnabledWriters(ELogSeverity eSeverity) const noexcept {
        return m_nEnabled[eSeverity].load(std::memory_order_relaxed);
    }

private:
    friend class LogRegistry;
    explicit LogSource(const char* pName) noexcept : m_pName(pName) {}

    const char* m_pName;
    std::atomic<LogWriterMask> m_nEnabled[knLogSeverities]{};
};

/// Refers to a log source by its dotted lower-case name; the first handle of a name makes the source.
class ZQ_EXPORT LogSourceHandle {
public:
    /// The null handle: the current source applies.
    constexpr LogSourceHandle() noexcept = default;
    explicit LogSourceHandle(const char* pName);

    const LogSource* getSource() const noexcept { return m_pSource; }

private:
    const LogSource* m_pSource = nullptr;
};

/// One entry on its way to the writers; everything in it is valid only during LogWriter::write().
struct ZQ_EXPORT LogEntry {
    ELogSeverity eSeverity;
    const char* pSource;
    std::wstring_view sText;
    LogLocation tLocation;
};

/// Takes log entries, on any thread and on several at once. What it cannot write it drops: logging never
/// fails a request.
class ZQ_EXPORT LogWriter {
public:
    virtual ~LogWriter() = default;
    virtual void write(const LogEntry& rEntry) noexcept = 0;
};

/// Which writers there are and what each of them is given. Changed at start-up, on a configuration load and
/// in tests, from one thread at a time; the masks that loggers read are atomic.
class ZQ_EXPORT LogRegistry {
public:
    /// Adds a writer that is given entries of eLeast and above from every source; the caller owns it and
    /// removes it before it ends. At most 32; false when they are taken.
    static bool addWriter(LogWriter& rWriter, ELogSeverity eLeast);
    /// Removes a writer; it is given nothing more once no logger call is under way.
    static void removeWriter(LogWriter& rWriter) noexcept;
    /// From now on the writer is given entries of eLeast and above from the named source, whatever its
    /// general threshold is. The source need not exist yet.
    static void setThreshold(LogWriter& rWriter, std::string_view sSource, ELogSeverity eLeast);
    /// True while there is any writer, whatever its thresholds.
    static bool hasWriters() noexcept;

private:
    friend class LogSourceHandle;
    friend class TWLogger;
    static const LogSource* getSource(const char* pName);
    /// The source of entries on threads that have pushed none: "root".
    static const LogSource& getRootSource() noexcept;
    static void write(LogWriterMask nWriters, const LogEntry& rEntry) noexcept;
    struct State;
    static State& state();
    static void recalculate(State& rState, LogSource& rSource) noexcept;
};

/// The calling thread's logger: a stack of current sources, and the ways to write an entry. Building no text
/// for nobody: ask calcEnabledWriters() first.
class ZQ_EXPORT TWLogger {
public:
    static TWLogger& getLogger() noexcept;

    /// The writers that want entries of this severity from the current source; 0 when there are none.
    LogWriterMask calcEnabledWriters(ELogSeverity eSeverity) noexcept {
        m_nEnabled = currentSource().getEnabledWriters(eSeverity);
        return m_nEnabled;
    }
    /// Hand an entry of the current source to the writers that the last calcEnabledWriters() named.
    void logToEnabledWriters(ELogSeverity eSeverity, const GDStringRef& rText,
                             const LogLocation& rLocation) noexcept;
    /// The same with the insert %1 filled.
    void logToEnabledWriters1(ELogSeverity eSeverity, const PercentizedMessageRef& rMessage,
                              const GDValue& rInsert, const LogLocation& rLocation);
    /// Asks and writes in one: an entry of hSource, or of the current source when it is null.
    void logMessage(ELogSeverity eSeverity, const LogSourceHandle& hSource, const GDStringRef& rText,
                    const LogLocation& rLocation) noexcept;

private:
    friend class TWLoggerPushSource;
    static constexpr std::size_t s_knDeepest = 16;

    const LogSource& currentSource() const noexcept;

    const LogSource* m_tStack[s_knDeepest] = {};
    std::size_t m_nDepth = 0;  ///< how many were pushed; those beyond the stack's size are not kept
    LogWriterMask m_nEnabled = 0;
};

/// Makes a source the thread's current one for a scope.
class ZQ_EXPORT TWLoggerPushSource {
public:
    TWLoggerPushSource(TWLogger& rLogger, const LogSourceHandle& hSource) noexcept : m_rLogger(rLogger) {
        if (m_rLogger.m_nDepth < TWLogger::s_knDeepest)
            m_rLogger.m_tStack[m_rLogger.m_nDepth] = hSource.getSource();
        ++m_rLogger.m_nDepth;
    }
    ~TWLoggerPushSource() { --m_rLogger.m_nDepth; }
    TWLoggerPushSource(const TWLoggerPushSource&) = delete;
    TWLoggerPushSource& operator=(const TWLoggerPushSource&) = delete;

private:
    TWLogger& m_rLogger;
};

/// The current place, for the operations above.
#define ZQ_LOG_LOCATION (LogLocation{ZQ_WFILE, __LINE__})
