#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <utility>

/// Keeps those who make one report come again and again, a client with a thousand malformed parts for
/// instance, from filling the log: of each place in the source the first ten reports of a minute are written.
/// Any thread may ask.
class ReportLimiter {
public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr unsigned s_knMostPerMinute = 10;

    struct Answer {
        bool bWrite;
        bool bLast;         ///< those of the rest of the minute will be left out
        unsigned nLeftOut;  ///< in the minute before this one began: said once, and now
    };
    /// A minute begins with the first report after the one before. Throws std::bad_alloc.
    Answer ask(const wchar_t* pFile, int nLine, Time tNow) {
        const std::lock_guard tLock(m_tMutex);
        Place& r = m_tPlaces[{pFile, nLine}];
        unsigned nLeftOut = 0;
        if (tNow >= r.tEnd) {
            nLeftOut = r.nReports > s_knMostPerMinute ? r.nReports - s_knMostPerMinute : 0;
            r = {tNow + std::chrono::minutes(1), 0};
        }
        ++r.nReports;
        return {r.nReports <= s_knMostPerMinute, r.nReports == s_knMostPerMinute, nLeftOut};
    }

private:
    struct Place {
        Time tEnd{};  ///< of the current minute
        unsigned nReports = 0;
    };

    std::mutex m_tMutex;
    std::map<std::pair<std::wstring, int>, Place> m_tPlaces;  ///< as many as the programs have
};
