#include "process/crashreport.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unwind.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>

#include "base/alternatestack.h"
#include "requests/requestwatch.h"

// What runs while the process crashes calls nothing that locks or allocates.

namespace webcontainer {

namespace {

constexpr int s_knCrashes[] = {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL};
constexpr unsigned s_knMostSeconds = 5;
constexpr int s_knMostFrames = 64;

char s_tProgram[PATH_MAX];
char s_tLogFile[PATH_MAX];
std::atomic<const void*> s_pApplication{nullptr};
std::atomic<int> s_nReporter{0};  ///< the thread that has crashed first

/// Writes lines to standard error and the log's file.
class Report {
public:
    Report() noexcept {
        if (s_tLogFile[0] != '\0')
            m_nLog = ::open(s_tLogFile, O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    }
    Report& operator<<(std::string_view s) noexcept {
        for (const char c : s)
            if (c < ' ' || c > '~' || c == '\\')
                add('\\').add('x').add(s_ksDigits[(c >> 4) & 15]).add(s_ksDigits[c & 15]);
            else
                add(c);
        return *this;
    }
    Report& number(std::uint64_t n, int nBase = 10, std::ptrdiff_t nDigits = 1) noexcept {
        char tDigits[20];
        const char* const pEnd = std::to_chars(std::begin(tDigits), std::end(tDigits), n, nBase).ptr;
        for (std::ptrdiff_t i = pEnd - tDigits; i < nDigits; ++i)
            add('0');
        return *this << std::string_view(tDigits, pEnd);
    }
    Report& address(const void* p) noexcept {
        return (*this << "0x").number(reinterpret_cast<std::uintptr_t>(p), 16);
    }
    void endLine() noexcept {
        m_tLine[m_nLength++] = '\n';
        for (const int nFd : {STDERR_FILENO, m_nLog})
            static_cast<void>(!::write(nFd, m_tLine, m_nLength));  // there is nobody to be told
        m_nLength = s_ksBeginning.size();
    }

private:
    static constexpr std::string_view s_ksDigits = "0123456789abcdef";
    static constexpr std::string_view s_ksBeginning = "webcontainer: crash: ";

    Report& add(char c) noexcept {
        if (m_nLength < sizeof m_tLine - 1) m_tLine[m_nLength++] = c;
        return *this;
    }

    int m_nLog = -1;
    char m_tLine[PATH_MAX] = "webcontainer: crash: ";
    std::size_t m_nLength = s_ksBeginning.size();
};

void addTime(Report& rReport) noexcept {
    using namespace std::chrono;
    const auto tNow = floor<seconds>(system_clock::now());
    const auto tDay = floor<days>(tNow);
    const year_month_day tDate(tDay);
    const hh_mm_ss tTime(tNow - tDay);
    const auto two = [&](auto n) -> Report& { return rReport.number(static_cast<std::uint64_t>(n), 10, 2); };
    two(static_cast<int>(tDate.year())) << "-";
    two(static_cast<unsigned>(tDate.month())) << "-";
    two(static_cast<unsigned>(tDate.day())) << "T";
    two(tTime.hours().count()) << ":";
    two(tTime.minutes().count()) << ":";
    two(tTime.seconds().count()) << "Z";
}

/// Null: no library lies there.
const link_map* findLibrary(const void* p) noexcept {
    dl_find_object tFound{};
    return _dl_find_object(const_cast<void*>(p), &tFound) == 0 ? tFound.dlfo_link_map : nullptr;
}

void addPath(Report& rReport, const link_map& rLibrary) noexcept {
    rReport << (rLibrary.l_name[0] == '\0' ? s_tProgram : rLibrary.l_name);
}

void writeSignal(Report& rReport, int nSignal, const siginfo_t& rInfo) noexcept {
    addTime(rReport);
    rReport << " SIG" << ::sigabbrev_np(nSignal);
    if (rInfo.si_code > 0) (rReport << " at address ").address(rInfo.si_addr);
    (rReport << " in thread ").number(static_cast<std::uint64_t>(::gettid())).endLine();
}

void writeRequest(Report& rReport) noexcept {
    RequestContext* const pRequest = RequestWatch::getCurrent();
    if (!pRequest) return (rReport << "the thread runs no request").endLine();
    pRequest->tId.get(pRequest->rInput);
    const Activity::Seen tSeen = pRequest->rStatistics.lookAtActivity();
    (rReport << "request " << tSeen.id() << ": " << tSeen.line()).endLine();
}

void writeApplication(Report& rReport) noexcept {
    const link_map* const pLibrary = findLibrary(s_pApplication);
    if (!pLibrary) return (rReport << "no application is loaded").endLine();
    rReport << "application ";
    addPath(rReport, *pLibrary);
    (rReport << " at ").address(reinterpret_cast<const void*>(pLibrary->l_addr)).endLine();
}

struct Trace {
    Report& rReport;
    bool bReached = false;  ///< the function that was interrupted by the signal
    int nFrames = 0;
};

_Unwind_Reason_Code writeFrame(_Unwind_Context* pFrame, void* pTrace) {
    Trace& rTrace = *static_cast<Trace*>(pTrace);
    int nInterrupted = 0;
    const std::uintptr_t nNext = _Unwind_GetIPInfo(pFrame, &nInterrupted);
    rTrace.bReached = rTrace.bReached || nInterrupted != 0;
    if (!rTrace.bReached) return _URC_NO_REASON;
    if (nNext == 0 && rTrace.nFrames > 0) return _URC_END_OF_STACK;
    // A call stands before the place that it returns to.
    const std::uintptr_t nPlace = nNext - (nInterrupted != 0 ? 0 : 1);
    rTrace.rReport << "in ";
    const link_map* const pLibrary = findLibrary(reinterpret_cast<const void*>(nPlace));
    if (pLibrary) addPath(rTrace.rReport, *pLibrary);
    (rTrace.rReport << (pLibrary ? " " : "no library "))
        .address(reinterpret_cast<const void*>(nPlace - (pLibrary ? pLibrary->l_addr : 0)))
        .endLine();
    return ++rTrace.nFrames < s_knMostFrames ? _URC_NO_REASON : _URC_END_OF_STACK;
}

void report(int nSignal, const siginfo_t& rInfo) noexcept {
    ::alarm(s_knMostSeconds);
    Report tReport;
    writeSignal(tReport, nSignal, rInfo);
    writeRequest(tReport);
    writeApplication(tReport);
    Trace tTrace{tReport};
    _Unwind_Backtrace(writeFrame, &tTrace);
}

/// With all crashes blocked: the kernel ends a process that crashes here.
void onCrash(int nSignal, siginfo_t* pInfo, void*) {
    const int nThread = ::gettid();
    int nReporter = 0;
    if (s_nReporter.compare_exchange_strong(nReporter, nThread))
        report(nSignal, *pInfo);
    else if (nReporter != nThread)
        for (;;)  // the process ends with the other one's report
            ::pause();
    static_cast<void>(std::signal(nSignal, SIG_DFL));
    // It ends the process as soon as the handler returns, with what is known of the first one.
    if (::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), nThread, nSignal, pInfo) != 0)
        static_cast<void>(::raise(nSignal));
}

_Unwind_Reason_Code lookAtNothing(_Unwind_Context*, void*) {
    return _URC_END_OF_STACK;
}

}  // namespace

void reportCrashes() {
    static const AlternateStack s_tStack;
    static_cast<void>(!::readlink("/proc/self/exe", s_tProgram, sizeof s_tProgram - 1));
    _Unwind_Backtrace(lookAtNothing, nullptr);  // what it needs is found and bound now
    struct sigaction tAction {};
    tAction.sa_sigaction = onCrash;
    tAction.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const int nSignal : s_knCrashes)
        sigaddset(&tAction.sa_mask, nSignal);
    for (const int nSignal : s_knCrashes) {
        struct sigaction tBefore {};
        if (::sigaction(nSignal, nullptr, &tBefore) == 0 && tBefore.sa_handler == SIG_DFL)
            ::sigaction(nSignal, &tAction, nullptr);
    }
}

void reportCrashesTo(const std::string& sFile) {
    s_tLogFile[sFile.copy(s_tLogFile, sizeof s_tLogFile - 1)] = '\0';
}

void reportApplication(const void* pCode) noexcept {
    s_pApplication = pCode;
}

}  // namespace webcontainer
