#include "admin/adminhandler.h"

#include <arpa/inet.h>

#include <algorithm>
#include <ctime>

#include "admin/metricspage.h"
#include "admin/statuspage.h"
#include "base/monotonicclock.h"
#include "http/fieldtext.h"
#include "requests/requestid.h"
#include "zq/foundation/stringbuffer.h"

namespace webcontainer {

namespace {

using kiv::HttpRequestProvider;
using kiv::HttpResponseProvider;

constexpr char s_ksText[] = "text/plain; charset=utf-8";

void addHeader(HttpResponseProvider& rResponse, std::string_view sName, std::string_view sValue) {
    rResponse.addHeader(sName.data(), sName.size(), sValue.data(), sValue.size());
}

void respond(HttpResponseProvider& rResponse, unsigned nStatus, std::string_view sType,
             std::string_view sBody) {
    rResponse.setStatusCode(nStatus);
    rResponse.setContentLength(sBody.size());
    addHeader(rResponse, "Content-Type", sType);
    addHeader(rResponse, "Cache-Control", "no-store");
    addHeader(rResponse, "X-Content-Type-Options", "nosniff");
    rResponse.commitHeaders();
    rResponse.endResponse(sBody.data(), sBody.size());
}

/// Empty when there is no such variable.
std::string variable(HttpRequestProvider& rRequest, const char* pName) {
    std::string sValue(256, '\0');
    std::size_t nSize = sValue.size();
    while (rRequest.getServerVariable(pName, sValue.data(), nSize) == 0)
        sValue.resize(nSize);
    return sValue.substr(0, rRequest.getServerVariable(pName, sValue.data(), nSize) > 0 ? nSize : 0);
}

/// "2031-11-22T23:55:47Z", of a time on the monotonic clock.
std::string utcText(std::int64_t nMonotonicMs) {
    const std::int64_t nAgeMs = monotonicMs() - nMonotonicMs;
    const std::time_t nTime = std::time(nullptr) - static_cast<std::time_t>(nAgeMs / 1000);
    std::tm tTime{};
    char tText[32];
    ::gmtime_r(&nTime, &tTime);
    return {tText, std::strftime(tText, sizeof tText, "%Y-%m-%dT%H:%M:%SZ", &tTime)};
}

/// Of an address or "localhost", which every resolver takes for this machine (RFC 6761 section 6.3).
bool isLoopback(std::string_view sHost) {
    in_addr tV4;
    return equalsNoCase(sHost, "localhost") || sHost == "[::1]" ||
           (inet_pton(AF_INET, std::string(sHost).c_str(), &tV4) == 1 && (ntohl(tV4.s_addr) >> 24) == 127);
}

}  // namespace

const AdminHandler::Page AdminHandler::s_tPages[] = {
    {"/", &AdminHandler::showStatusPage},     {"/status.json", &AdminHandler::showStatusJson},
    {"/metrics", &AdminHandler::showMetrics}, {"/live", &AdminHandler::showLive},
    {"/ready", &AdminHandler::showReady},
};

AdminHandler::AdminHandler(const AdminSubject& rSubject, std::string sOwnHost, const AdminSettings& rSettings)
    : m_tSubject(rSubject),
      m_sOwnHost(std::move(sOwnHost)),
      m_sHostName(rSettings.sHostName),
      m_bReadyWhileSaturated(rSettings.bReadyWhileSaturated),
      m_tHistory(rSubject.rContainer) {}

bool AdminHandler::isOwnHost(std::string_view sHost) const noexcept {
    return sHost.empty() || isLoopback(sHost) || equalsNoCase(sHost, m_sOwnHost) ||
           equalsNoCase(sHost, m_sHostName);
}

void AdminHandler::processRequest(HttpRequestProvider& rRequest, HttpResponseProvider& rResponse) {
    if (!isOwnHost(variable(rRequest, "SERVER_NAME")))
        return respond(rResponse, 421, s_ksText, "not answered under this name; see Admin/HostName\n");
    const std::string sPath = variable(rRequest, "URL");
    for (const Page& r : s_tPages)
        if (r.sPath == sPath) return (this->*r.pShow)(rResponse);
    respond(rResponse, 404, s_ksText, "there is /, /status.json, /metrics, /live and /ready\n");
}

void AdminHandler::showStatusPage(HttpResponseProvider& rResponse) const {
    const std::string sNonce = makeRandomId();
    addHeader(rResponse, "Content-Security-Policy",
              "default-src 'none'; connect-src 'self'; style-src 'nonce-" + sNonce + "'; script-src 'nonce-" +
                  sNonce + "'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
    addHeader(rResponse, "Referrer-Policy", "no-referrer");
    respond(rResponse, 200, "text/html; charset=utf-8",
            makeStatusPage(showStatus(m_tSubject, m_tHistory), sNonce));
}

void AdminHandler::showStatusJson(HttpResponseProvider& rResponse) const {
    respond(rResponse, 200, "application/json", makeStatusJson(m_tSubject, m_tHistory));
}

void AdminHandler::showMetrics(HttpResponseProvider& rResponse) const {
    respond(rResponse, 200, s_ksMetricsType, makeMetricsPage(m_tSubject, m_tHistory));
}

void AdminHandler::showLive(HttpResponseProvider& rResponse) const {
    const bool bStuck = m_tSubject.rContainer.isStuck();
    respond(rResponse, bStuck ? 503 : 200, s_ksText, bStuck ? AdminSubject::s_ksStuck : "live");
}

void AdminHandler::showReady(HttpResponseProvider& rResponse) const {
    if (m_tSubject.rContainer.isDraining())
        return respond(rResponse, 503, s_ksText, AdminSubject::s_ksDraining);
    if (m_tSubject.rContainer.isOutOfResources())
        return respond(rResponse, 503, s_ksText, AdminSubject::s_ksOutOfResources);
    const std::int64_t nSinceMs = m_tSubject.rContainer.getSaturation().getSinceMs();
    if (nSinceMs == 0) return respond(rResponse, 200, s_ksText, "ready");
    const Statistics tNow = m_tSubject.rContainer.readStatistics();
    respond(rResponse, m_bReadyWhileSaturated ? 200 : 503, s_ksText,
            "saturated since " + utcText(nSinceMs) + ": " + std::to_string(tNow.nQueued) +
                " requests wait, the oldest for " + std::to_string(tNow.nOldestQueuedMs) + " ms");
}

}  // namespace webcontainer
