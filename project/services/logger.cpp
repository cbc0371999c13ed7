#include "zq/services/logger.h"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <span>
#include <string>

#include "zq/foundation/libloaded.h"
#include "zq/foundation/messageformatter.h"
#include "zq/foundation/nocasecompareless.h"

namespace {

struct SeverityName {
    const wchar_t* pWide;
    const char* pNarrow;
};
constexpr SeverityName s_kpSeverityNames[knLogSeverities] = {{L"debug", "debug"},
                                                             {L"infominor", "infominor"},
                                                             {L"info", "info"},
                                                             {L"warning", "warning"},
                                                             {L"error", "error"}};

constexpr char s_ksRootSource[] = "root";
constexpr std::size_t s_knMostWriters = 32;

}  // namespace

bool parseLogSeverity(std::wstring_view sName, ELogSeverity& reSeverity) noexcept {
    for (std::size_t n = 0; n < knLogSeverities; ++n) {
        if (compareNoCase(sName, s_kpSeverityNames[n].pWide) != 0) continue;
        reSeverity = static_cast<ELogSeverity>(n);
        return true;
    }
    return false;
}

const char* getLogSeverityName(ELogSeverity eSeverity) noexcept {
    return s_kpSeverityNames[eSeverity].pNarrow;
}

struct LogRegistry::State {
    /// Keeps its own copy of the name: the library that made the source may be unloaded before the process
    /// ends.
    struct Source {
        std::string m_sName;
        LogSource m_tSource;

        explicit Source(std::string_view sName) : m_sName(sName), m_tSource(m_sName.c_str()) {}
    };
    struct Writer {
        std::atomic<LogWriter*> m_pWriter{nullptr};  ///< read without the lock by whoever logs
        ELogSeverity m_eLeast = kSevError;
        std::map<std::string, ELogSeverity, std::less<>> m_tLeastOf;  ///< exceptions, by source name
    };

    std::mutex m_tMutex;
    std::deque<Source> m_tSources;  ///< a deque, because handles refer to sources by address
    Writer m_tWriters[s_knMostWriters];
    const LogSource* m_pRoot = nullptr;

    Writer* findWriter(const LogWriter* pWriter) noexcept {
        Writer* const pEnd = std::end(m_tWriters);
        Writer* const p = std::find_if(std::begin(m_tWriters), pEnd, [pWriter](const Writer& r) {
            return r.m_pWriter.load(std::memory_order_relaxed) == pWriter;
        });
        return p == pEnd ? nullptr : p;
    }
    void recalculateAll() noexcept {
        for (Source& rSource : m_tSources)
            recalculate(*this, rSource.m_tSource);
    }
    const LogSource* getSource(std::string_view sName) {
        if (sName.empty()) sName = s_ksRootSource;
        for (const Source& rSource : m_tSources)
            if (rSource.m_sName == sName) return &rSource.m_tSource;
        Source& rSource = m_tSources.emplace_back(sName);
        recalculate(*this, rSource.m_tSource);
        debug_tools::LoadJournal::add(debug_tools::LoadJournal::EKind::kLogSource, rSource.m_sName);
        return &rSource.m_tSource;
    }
};

/// Never destroyed: static objects of other libraries log until the process ends.
LogRegistry::State& LogRegistry::state() {
    static auto* const s_pState = [] {
        auto* const pState = new State;
        pState->m_pRoot = pState->getSource(s_ksRootSource);
        return pState;
    }();
    return *s_pState;
}

void LogRegistry::recalculate(State& rState, LogSource& rSource) noexcept {
    for (std::size_t nSeverity = 0; nSeverity < knLogSeverities; ++nSeverity) {
        LogWriterMask nMask = 0;
        for (std::size_t n = 0; n < s_knMostWriters; ++n) {
            const State::Writer& r = rState.m_tWriters[n];
            if (!r.m_pWriter.load(std::memory_order_relaxed)) continue;
            const auto it = r.m_tLeastOf.find(std::string_view(rSource.m_pName));
            const ELogSeverity eLeast = it == r.m_tLeastOf.end() ? r.m_eLeast : it->second;
            if (nSeverity >= eLeast) nMask |= LogWriterMask{1} << n;
        }
        rSource.m_nEnabled[nSeverity].store(nMask, std::memory_order_relaxed);
    }
}

bool LogRegistry::addWriter(LogWriter& rWriter, ELogSeverity eLeast) {
    State& r = state();
    const std::lock_guard tLock(r.m_tMutex);
    State::Writer* const pSlot = r.findWriter(nullptr);
    if (!pSlot) return false;
    pSlot->m_eLeast = eLeast;
    pSlot->m_tLeastOf.clear();
    pSlot->m_pWriter.store(&rWriter, std::memory_order_release);
    r.recalculateAll();
    return true;
}

void LogRegistry::removeWriter(LogWriter& rWriter) noexcept {
    State& r = state();
    const std::lock_guard tLock(r.m_tMutex);
    State::Writer* const pSlot = r.findWriter(&rWriter);
    if (!pSlot) return;
    pSlot->m_pWriter.store(nullptr, std::memory_order_release);
    r.recalculateAll();
}

void LogRegistry::setThreshold(LogWriter& rWriter, std::string_view sSource, ELogSeverity eLeast) {
    State& r = state();
    const std::lock_guard tLock(r.m_tMutex);
    State::Writer* const pSlot = r.findWriter(&rWriter);
    if (!pSlot) return;
    pSlot->m_tLeastOf.insert_or_assign(std::string(sSource.empty() ? s_ksRootSource : sSource), eLeast);
    r.recalculateAll();
}

bool LogRegistry::hasWriters() noexcept {
    return std::any_of(
        std::begin(state().m_tWriters), std::end(state().m_tWriters),
        [](const State::Writer& r) { return r.m_pWriter.load(std::memory_order_relaxed) != nullptr; });
}

const LogSource* LogRegistry::getSource(const char* pName) {
    const std::lock_guard tLock(state().m_tMutex);
    return state().getSource(pName);
}

const LogSource& LogRegistry::getRootSource() noexcept {
    return *state().m_pRoot;
}

void LogRegistry::write(LogWriterMask nWriters, const LogEntry& rEntry) noexcept {
    for (std::size_t n = 0; nWriters != 0; ++n, nWriters >>= 1) {
        if ((nWriters & 1) == 0) continue;
        // The slot may have been emptied since the mask was read.
        LogWriter* const pWriter = state().m_tWriters[n].m_pWriter.load(std::memory_order_acquire);
        if (pWriter) pWriter->write(rEntry);
    }
}

LogSourceHandle::LogSourceHandle(const char* pName) : m_pSource(LogRegistry::getSource(pName)) {}

TWLogger& TWLogger::getLogger() noexcept {
    static constinit thread_local TWLogger t_tLogger;
    return t_tLogger;
}

const LogSource& TWLogger::currentSource() const noexcept {
    for (std::size_t n = std::min(m_nDepth, s_knDeepest); n-- > 0;)
        if (m_tStack[n]) return *m_tStack[n];
    return LogRegistry::getRootSource();
}

void TWLogger::logToEnabledWriters(ELogSeverity eSeverity, const GDStringRef& rText,
                                   const LogLocation& rLocation) noexcept {
    LogRegistry::write(m_nEnabled, {eSeverity, currentSource().getName(), rText.view(), rLocation});
}

void TWLogger::logToEnabledWriters1(ELogSeverity eSeverity, const PercentizedMessageRef& rMessage,
                                    const GDValue& rInsert, const LogLocation& rLocation) {
    if (m_nEnabled == 0) return;
    StringBuffer tText;
    formatMessage(tText, rMessage.view(), std::span(&rInsert, 1));
    logToEnabledWriters(eSeverity, GDStringRef(tText.view()), rLocation);
}

void TWLogger::logMessage(ELogSeverity eSeverity, const LogSourceHandle& hSource, const GDStringRef& rText,
                          const LogLocation& rLocation) noexcept {
    const LogSource& rSource = hSource.getSource() ? *hSource.getSource() : currentSource();
    // Leaves m_nEnabled alone: this may be a report from within the building of somebody else's text.
    LogRegistry::write(rSource.getEnabledWriters(eSeverity),
                       {eSeverity, rSource.getName(), rText.view(), rLocation});
}
