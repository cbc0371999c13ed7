#pragma once

#include <string>
#include <string_view>

#include "admin/adminsettings.h"
#include "admin/adminsubject.h"
#include "admin/history.h"
#include "requests/requesthandler.h"

namespace webcontainer {

/// Answers those who watch over the server: a container of its own calls it, so that it answers however busy
/// the other one is, and while that one drains.
///
///     /             the status page, for people
///     /status.json  the same, for programs
///     /metrics      Prometheus' text format
///     /live         200 "live", or 503 when no worker makes progress (WebContainer/NoProgressMilliseconds)
///     /ready        200 "ready", or 503 when no new requests should come: "draining", or "out of descriptors
///                   or memory"; "saturated since ..." while requests wait is 200, unless it is wanted
///                   otherwise (Admin/ReadyWhileSaturated)
///
/// Only to GET and HEAD, as the container's rules have it, and only to requests that name this machine in one
/// of the ways that are allowed (see adminsettings.h) or, as old clients and health checks do, no host at
/// all.
class AdminHandler final : public RequestHandler {
public:
    /// What rSubject refers to must outlive the handler. sOwnHost: the address that it is reached at.
    /// rSettings: which other name it has, and when it says that it is ready.
    AdminHandler(const AdminSubject& rSubject, std::string sOwnHost, const AdminSettings& rSettings);
    virtual ~AdminHandler() = default;

    void processRequest(kiv::HttpRequestProvider& rRequest, kiv::HttpResponseProvider& rResponse) override;
    std::size_t getResponseTimeoutMilliSeconds() const override { return 10000; }
    bool isBodyLimit(const Exception&) const override { return false; }
    void startShutdown() override {}

private:
    struct Page {
        std::string_view sPath;
        void (AdminHandler::*pShow)(kiv::HttpResponseProvider& rResponse) const;
    };
    static const Page s_tPages[];

    bool isOwnHost(std::string_view sHost) const noexcept;
    void showStatusPage(kiv::HttpResponseProvider& rResponse) const;
    void showStatusJson(kiv::HttpResponseProvider& rResponse) const;
    void showMetrics(kiv::HttpResponseProvider& rResponse) const;
    void showLive(kiv::HttpResponseProvider& rResponse) const;
    void showReady(kiv::HttpResponseProvider& rResponse) const;

    const AdminSubject m_tSubject;
    const std::string m_sOwnHost;
    const std::string m_sHostName;
    const bool m_bReadyWhileSaturated;
    const History m_tHistory;
};

}  // namespace webcontainer
