#include "admin/statuspage.h"

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

#include "admin/processuse.h"
#include "admin/shownnumbers.h"
#include "zq/services/performancecounters.h"

namespace webcontainer {

namespace {

constexpr unsigned s_knLatencySeconds = 60;
constexpr std::string_view s_ksNothing = "–";
constexpr std::pair<const char*, double> s_tQuantiles[] = {{"p50", 0.5}, {"p90", 0.9}, {"p99", 0.99}};

/// The highest number of requests in flight so far, which the module counts.
std::string showPeak() {
    const performance::CounterInfo tCounter =
        performance::CounterRegistry::find("HttpServer/CurrentRequests");
    if (!tCounter.pCompanion) return std::string(s_ksNothing);
    return showCount(static_cast<std::uint64_t>(tCounter.getCompanion()));
}

std::uint64_t uptimeSeconds(const AdminSubject& r) {
    const auto tUp = std::chrono::system_clock::now() - r.tStart;
    return static_cast<std::uint64_t>(std::max<std::int64_t>(tUp / std::chrono::seconds(1), 0));
}

/// A share of nAll as a length out of a hundred; the smallest can still be seen.
std::string showShare(std::uint64_t nPart, std::uint64_t nAll) {
    if (nPart == 0) return "0";
    return showNumber(std::max(1.0, 100.0 * static_cast<double>(nPart) / static_cast<double>(nAll)));
}

void showByClass(ShownStatus& rShown, const Statistics& r) {
    const std::uint64_t nAll = r.countRequests();
    for (std::size_t n = 0; n < r.tByClass.size(); ++n) {
        rShown["class" + std::to_string(n)] = showCount(r.tByClass[n]);
        rShown["share" + std::to_string(n)] = showShare(r.tByClass[n], nAll);
    }
}

void showLatency(ShownStatus& rShown, const Statistics& r) {
    const auto& rCounts = r.tWhole.tCounts;
    const std::uint64_t nMost = *std::max_element(rCounts.begin(), rCounts.end());
    for (std::size_t n = 0; n < rCounts.size(); ++n)
        rShown["latency" + std::to_string(n)] = showShare(rCounts[n], nMost);
    for (const auto& [pName, nShare] : s_tQuantiles) {
        rShown[pName] = nMost == 0 ? s_ksNothing : showMicroseconds(r.tWhole.guessUs(nShare));
        rShown[std::string("waiting_") + pName] =
            nMost == 0 ? s_ksNothing : showMicroseconds(r.tWaiting.guessUs(nShare));
    }
}

/// A line through the rates of the last minute, and the area below it, in a field of 60 by 100.
void showRates(ShownStatus& rShown, const std::vector<double>& rRates) {
    const double nMost = rRates.empty() ? 0 : *std::max_element(rRates.begin(), rRates.end());
    std::string sPoints;
    for (std::size_t n = 0; n < rRates.size(); ++n) {
        const double nHeight = nMost > 0 ? 96 * rRates[n] / nMost : 0;
        sPoints += std::to_string(60 - (rRates.size() - 1 - n)) + "," + showFixed(98 - nHeight, 1) + " ";
    }
    rShown["rateMost"] = showNumber(nMost);
    rShown["spark"] = sPoints;
    rShown["sparkArea"] =
        rRates.empty() ? "" : std::to_string(61 - rRates.size()) + ",100 " + sPoints + "60,100";
}

void showTraffic(ShownStatus& rShown, const Statistics& rAll, const History::Change& rRecent) {
    const Statistics& r = rRecent.tStatistics;
    rShown["rate"] = showNumber(rRecent.perSecond(r.countRequests()));
    rShown["receivedRate"] = showBytes(rRecent.perSecond(r.nReceivedBytes)) + "/s";
    rShown["sentRate"] = showBytes(rRecent.perSecond(r.nSentBytes)) + "/s";
    rShown["requests"] = showCount(rAll.countRequests());
    for (const NumberInfo& rNumber : s_tNumbers) {
        const std::uint64_t nValue = rAll.*rNumber.pMember;
        const bool bBytes = std::string_view(rNumber.pName).ends_with("_bytes");
        rShown[rNumber.pName] = bBytes ? showBytes(static_cast<double>(nValue)) : showCount(nValue);
    }
}

/// One of a table.
std::string showRow(std::string_view sName, std::uint64_t nCount) {
    return std::string(sName) + "\t" + showCount(nCount) + "\n";
}

/// The most frequent ones.
std::string showRefusals(const RefusalCounts& rCounts) {
    constexpr std::size_t nMost = 12;
    std::vector<std::pair<std::uint64_t, std::string>> tSorted;
    for (const auto& [tKey, nCount] : rCounts)
        tSorted.emplace_back(nCount, std::to_string(tKey.first) + " " + std::string(tKey.second));
    std::ranges::sort(tSorted, std::greater());
    std::string sRows;
    for (std::size_t n = 0; n < std::min(tSorted.size(), nMost); ++n)
        sRows += showRow(tSorted[n].second, tSorted[n].first);
    return sRows.empty() ? showRow("none so far", 0) : sRows;
}

void showByReason(ShownStatus& rShown, const Container& rContainer, const Statistics& r) {
    for (std::size_t n = 0; n < s_ksCutOffs.size(); ++n)
        rShown["cutOff"] += showRow(s_ksCutOffs[n], r.tByCutOff[n]);
    const auto tPhases = rContainer.countPhases();
    for (std::size_t n = 0; n < tPhases.size(); ++n)
        rShown["phases"] += showRow(s_ksPhases[n], tPhases[n]);
    rShown["refusals"] = showRefusals(rContainer.countRefusals());
}

void showProcess(ShownStatus& rShown, const AdminSubject& rSubject) {
    const ProcessUse tUse = readProcessUse();
    rShown["resident"] = showBytes(static_cast<double>(tUse.nResidentBytes));
    rShown["descriptors"] = showCount(tUse.nDescriptors) + " of " + showCount(tUse.nMostDescriptors);
    rShown["lostLines"] = showCount(rSubject.countLostLines());
    rShown["lostEntries"] = showCount(AdminSubject::countLostEntries());
}

void appendEscaped(std::string& rsPage, std::string_view s) {
    for (const char c : s) {
        if (c == '<' || c == '&' || c == '"')
            rsPage.append("&#").append(std::to_string(static_cast<int>(c))).append(";");
        else
            rsPage += c;
    }
}

/// The rows as the page's script makes them, too.
void appendRows(std::string& rsPage, std::string_view sRows) {
    for (std::size_t nEnd; (nEnd = sRows.find('\n')) != std::string_view::npos;
         sRows.remove_prefix(nEnd + 1)) {
        const std::size_t nTab = sRows.find('\t');
        appendEscaped(rsPage.append("<tr><th>"), sRows.substr(0, nTab));
        appendEscaped(rsPage.append("</th><td>"), sRows.substr(nTab + 1, nEnd - nTab - 1));
        rsPage.append("</td></tr>");
    }
}

}  // namespace

ShownStatus showStatus(const AdminSubject& rSubject, const History& rHistory) {
    const Statistics tAll = rSubject.rContainer.readStatistics();
    ShownStatus tShown;
    tShown["state"] = rSubject.getState();
    tShown["uptime"] = showSeconds(uptimeSeconds(rSubject));
    tShown["version"] = rSubject.sVersion;
    tShown["module"] = rSubject.sModule;
    tShown["peak"] = showPeak();
    showProcess(tShown, rSubject);
    showByReason(tShown, rSubject.rContainer, tAll);
    showTraffic(tShown, tAll, rHistory.changeOver(History::s_knRateSeconds));
    showRates(tShown, rHistory.requestRates());
    showByClass(tShown, tAll);
    showLatency(tShown, rHistory.changeOver(s_knLatencySeconds).tStatistics);
    return tShown;
}

std::string makeStatusPage(const ShownStatus& rShown, std::string_view sNonce) {
    std::string sPage;
    std::string_view sRest = s_ksStatusPageTemplate;
    for (std::size_t nOpen; (nOpen = sRest.find("{{")) != std::string_view::npos;) {
        const std::size_t nClose = sRest.find("}}", nOpen);
        const std::string_view sName = sRest.substr(nOpen + 2, nClose - nOpen - 2);
        sPage.append(sRest.substr(0, nOpen));
        if (sName == "nonce")
            sPage.append(sNonce);
        else if (const auto it = rShown.find(sName); it != rShown.end())
            it->second.ends_with('\n') ? appendRows(sPage, it->second) : appendEscaped(sPage, it->second);
        sRest.remove_prefix(nClose + 2);
    }
    return sPage.append(sRest);
}

std::string makeStatusJson(const AdminSubject& rSubject, const History& rHistory) {
    const Statistics tAll = rSubject.rContainer.readStatistics();
    const History::Change tRecent = rHistory.changeOver(History::s_knRateSeconds);
    const Statistics tMinute = rHistory.changeOver(s_knLatencySeconds).tStatistics;
    nlohmann::ordered_json tStatus{
        {"state", rSubject.getState()},
        {"uptime_seconds", uptimeSeconds(rSubject)},
        {"requests", tAll.countRequests()},
        {"requests_per_second", tRecent.perSecond(tRecent.tStatistics.countRequests())},
        {"requests_by_class", tAll.tByClass},
        {"received_bytes_per_second", tRecent.perSecond(tRecent.tStatistics.nReceivedBytes)},
        {"sent_bytes_per_second", tRecent.perSecond(tRecent.tStatistics.nSentBytes)},
        {"access_log_lines_lost", rSubject.countLostLines()},
        {"log_entries_lost", AdminSubject::countLostEntries()},
        {"resident_bytes", readProcessUse().nResidentBytes},
        {"version", rSubject.sVersion},
        {"module", rSubject.sModule}};
    for (const NumberInfo& r : s_tNumbers)
        tStatus[r.pName] = tAll.*r.pMember;
    for (const auto& [pName, nShare] : s_tQuantiles) {
        tStatus["latency_us_last_minute"][pName] = tMinute.tWhole.guessUs(nShare);
        tStatus["waiting_us_last_minute"][pName] = tMinute.tWaiting.guessUs(nShare);
    }
    for (std::size_t n = 0; n < s_ksCutOffs.size(); ++n)
        tStatus["cut_off"][s_ksCutOffs[n]] = tAll.tByCutOff[n];
    const auto tPhases = rSubject.rContainer.countPhases();
    for (std::size_t n = 0; n < tPhases.size(); ++n)
        tStatus["connections"][s_ksPhases[n]] = tPhases[n];
    tStatus["refusals"] = nlohmann::json::array();
    for (const auto& [tKey, nCount] : rSubject.rContainer.countRefusals())
        tStatus["refusals"].push_back({{"status", tKey.first}, {"reason", tKey.second}, {"count", nCount}});
    tStatus["shown"] = showStatus(rSubject, rHistory);
    return tStatus.dump();
}

}  // namespace webcontainer
