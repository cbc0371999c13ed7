#include "admin/metricspage.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <algorithm>
#include <vector>

#include "admin/processuse.h"
#include "zq/services/performancecounters.h"

namespace webcontainer {

namespace {

using performance::CounterInfo;
using performance::ECounterKind;
using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

bool isLowerOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

/// The families of a page, none under a name that another one has.
class Families {
public:
    void addCounter(const std::string& sName, const std::string& sHelp, double nValue) {
        if (MetricFamily* const p = add(sName, sHelp, MetricType::Counter))
            p->metric.emplace_back().counter.value = nValue;
    }
    void addGauge(const std::string& sName, const std::string& sHelp, double nValue,
                  std::vector<ClientMetric::Label> tLabels = {}) {
        MetricFamily* const p = add(sName, sHelp, MetricType::Gauge);
        if (!p) return;
        p->metric.emplace_back().gauge.value = nValue;
        p->metric.back().label = std::move(tLabels);
    }
    MetricFamily* add(const std::string& sName, std::string sHelp, MetricType eType) {
        const auto isNamed = [&](const MetricFamily& r) { return r.name == sName; };
        if (std::any_of(m_tFamilies.begin(), m_tFamilies.end(), isNamed)) return nullptr;
        // Line ends would end the comment, and a backslash begins an escape.
        std::replace_if(
            sHelp.begin(), sHelp.end(), [](char c) { return c == '\n' || c == '\r' || c == '\\'; }, ' ');
        m_tFamilies.push_back({sName, std::move(sHelp), eType, {}});
        return &m_tFamilies.back();
    }
    /// One more metric of the family that was added last.
    void addLabelled(std::vector<ClientMetric::Label> tLabels, std::uint64_t nValue) {
        MetricFamily& rFamily = m_tFamilies.back();
        ClientMetric& rMetric = rFamily.metric.emplace_back();
        rMetric.label = std::move(tLabels);
        (rFamily.type == MetricType::Counter ? rMetric.counter.value : rMetric.gauge.value) =
            static_cast<double>(nValue);
    }
    std::string text() const { return prometheus::TextSerializer().Serialize(m_tFamilies); }

private:
    std::vector<MetricFamily> m_tFamilies;
};

double toDouble(std::uint64_t n) {
    return static_cast<double>(n);
}

void addByClass(Families& rFamilies, const Statistics& r) {
    rFamilies.add("webcontainer_requests_total",
                  "Requests that have ended, by the class of their status; none: nothing was sent",
                  MetricType::Counter);
    for (std::size_t n = 0; n < r.tByClass.size(); ++n)
        rFamilies.addLabelled({{"class", n == 0 ? "none" : std::to_string(n) + "xx"}}, r.tByClass[n]);
}

void addByReason(Families& rFamilies, const Container& rContainer, const Statistics& r) {
    rFamilies.add("webcontainer_cut_off_total", "Requests that were given up before their response was sent",
                  MetricType::Counter);
    for (std::size_t n = 0; n < s_ksCutOffs.size(); ++n)
        rFamilies.addLabelled({{"reason", s_ksCutOffs[n]}}, r.tByCutOff[n]);
    const RefusalCounts tRefusals = rContainer.countRefusals();
    if (tRefusals.empty()) return;  // a family without a metric is none
    rFamilies.add("webcontainer_refusals_total", "Requests that were answered without running them",
                  MetricType::Counter);
    for (const auto& [tKey, nCount] : tRefusals)
        rFamilies.addLabelled({{"status", std::to_string(tKey.first)}, {"reason", std::string(tKey.second)}},
                              nCount);
}

void addByPhase(Families& rFamilies, const Container& rContainer) {
    rFamilies.add("webcontainer_connections", "Connections, by what they wait for", MetricType::Gauge);
    const auto tCounts = rContainer.countPhases();
    for (std::size_t n = 0; n < tCounts.size(); ++n)
        rFamilies.addLabelled({{"state", s_ksPhases[n]}}, tCounts[n]);
}

void addLatencies(Families& rFamilies, const char* pName, const char* pHelp, const Latencies& r) {
    MetricFamily& rFamily = *rFamilies.add(pName, pHelp, MetricType::Histogram);
    ClientMetric::Histogram& rHistogram = rFamily.metric.emplace_back().histogram;
    for (std::size_t n = 0; n < r.tCounts.size(); ++n) {
        rHistogram.sample_count += r.tCounts[n];
        if (n < s_knLatencyBoundsUs.size())
            rHistogram.bucket.push_back(
                {rHistogram.sample_count, static_cast<double>(s_knLatencyBoundsUs[n]) / 1e6});
    }
    rHistogram.sample_sum = toDouble(r.nSumUs) / 1e6;
}

void addFrontEnd(Families& rFamilies, const Container& rContainer) {
    const Statistics r = rContainer.readStatistics();
    addByClass(rFamilies, r);
    addByReason(rFamilies, rContainer, r);
    addByPhase(rFamilies, rContainer);
    addLatencies(rFamilies, "webcontainer_request_duration_seconds",
                 "From the arrival of a request's first byte to the end of its response", r.tWhole);
    addLatencies(rFamilies, "webcontainer_request_waiting_seconds",
                 "What of that requests waited for a worker", r.tWaiting);
    for (const NumberInfo& rNumber : s_tNumbers) {
        std::string sName = std::string("webcontainer_") + rNumber.pName;
        double nValue = toDouble(r.*rNumber.pMember);
        if (const std::size_t nUnit = sName.find("milliseconds"); nUnit != std::string::npos) {
            sName.erase(nUnit, 5);
            nValue /= 1000;
        }
        if (rNumber.bGrows)
            rFamilies.addCounter(sName + "_total", rNumber.pHelp, nValue);
        else
            rFamilies.addGauge(sName, rNumber.pHelp, nValue);
    }
}

void addProcess(Families& rFamilies, const AdminSubject& rSubject) {
    rFamilies.addCounter("webcontainer_access_log_lines_lost_total",
                         "Access log lines that could not be written", toDouble(rSubject.countLostLines()));
    if (rSubject.pRecorder) {
        rFamilies.addCounter("webcontainer_recordings_written_total", "Requests that have been recorded",
                             toDouble(rSubject.pRecorder->getWritten()));
        rFamilies.addCounter("webcontainer_recordings_lost_total",
                             "Requests that were to be recorded and were not",
                             toDouble(rSubject.pRecorder->getLost()));
    }
    rFamilies.addGauge("webcontainer_draining", "1 while the server ends: it takes no new connections",
                       rSubject.rContainer.isDraining() ? 1 : 0);
    rFamilies.addGauge("webcontainer_build_info", "Which build this is; always 1", 1,
                       {{"version", rSubject.sVersion}, {"module", rSubject.sModule}});
    rFamilies.addGauge("webcontainer_saturated",
                       "1 while requests wait because no worker or processor is free",
                       rSubject.rContainer.getSaturation().getSinceMs() != 0 ? 1 : 0);
    const ProcessUse tUse = readProcessUse();
    rFamilies.addGauge("process_resident_memory_bytes", "Memory that the process has now",
                       toDouble(tUse.nResidentBytes));
    rFamilies.addGauge("process_open_fds", "Descriptors that are open", toDouble(tUse.nDescriptors));
    rFamilies.addGauge("process_max_fds", "Descriptors that may be open", toDouble(tUse.nMostDescriptors));
    rFamilies.addCounter("process_cpu_seconds_total", "Processor time that was used", tUse.nProcessorSeconds);
    rFamilies.addGauge("process_start_time_seconds", "When the process started, in seconds since 1970",
                       std::chrono::duration<double>(rSubject.tStart.time_since_epoch()).count());
}

void addPerformanceCounter(Families& rFamilies, const CounterInfo& r, double nCompanionPerSecond) {
    const std::string sName = makeMetricName(r.pName);
    if (r.eKind == ECounterKind::kCurrentAndMax) {
        rFamilies.addGauge(sName, r.pDescription, r.getValue());
        rFamilies.addGauge(sName + "_peak", r.pCompanionDescription, r.getCompanion());
        return;
    }
    rFamilies.addCounter(sName + "_total", r.pDescription, static_cast<std::uint32_t>(r.getValue()));
    if (r.eKind == ECounterKind::kTotalPerSec)
        rFamilies.addGauge(sName + "_per_second", r.pCompanionDescription, nCompanionPerSecond);
}

}  // namespace

std::string makeMetricName(std::string_view sCounter) {
    std::string sName;
    const std::size_t nLastPart = sCounter.rfind('/') + 1;
    for (std::size_t n = 0; n < sCounter.size(); ++n) {
        const char c = sCounter[n];
        if (n > nLastPart && isUpper(c) && isLowerOrDigit(sCounter[n - 1])) sName += '_';
        sName += isUpper(c) ? static_cast<char>(c - 'A' + 'a') : isLowerOrDigit(c) ? c : '_';
    }
    if (sName.empty() || (sName.front() >= '0' && sName.front() <= '9')) sName.insert(0, 1, '_');
    return sName;
}

std::string makeMetricsPage(const AdminSubject& rSubject, const History& rHistory) {
    const History::Change tChange = rHistory.changeOver(History::s_knRateSeconds);
    Families tFamilies;
    addFrontEnd(tFamilies, rSubject.rContainer);
    addProcess(tFamilies, rSubject);
    std::size_t n = 0;
    for (const CounterInfo& r : performance::CounterRegistry::list()) {
        const std::uint32_t nChange = n < tChange.tCompanions.size() ? tChange.tCompanions[n] : 0;
        addPerformanceCounter(tFamilies, r, tChange.perSecond(nChange));
        ++n;
    }
    return tFamilies.text();
}

}  // namespace webcontainer
