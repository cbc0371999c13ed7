#pragma once

#include "admin/adminhandler.h"
#include "admin/adminsettings.h"

namespace webcontainer {

/// The admin listener: a small container of its own beside the one that it tells of.
class AdminServer {
public:
    /// What rSubject refers to must outlive the server. Throws StartError.
    AdminServer(const AdminSettings& rSettings, const AdminSubject& rSubject)
        : m_tHandler(rSubject, rSettings.tOptions.tListen.front().tAddress.urlHost(), rSettings),
          m_tContainer(rSettings.tOptions, m_tHandler) {}

    /// With the real port.
    const SocketAddress& getAddress() const noexcept { return m_tContainer.getAddress(); }
    /// Where clients find it.
    std::string getPlaces() const { return m_tContainer.getPlaces(); }
    void start() { m_tContainer.start(); }
    /// Waits a moment for who is being answered.
    void drain() { m_tContainer.drain(-1); }

private:
    AdminHandler m_tHandler;
    Container m_tContainer;
};

}  // namespace webcontainer
