#pragma once

#include "zq/httpextension/httpapplication.h"

/// What the host gives an extension to start with. Extensions hand it to their base and look at nothing in
/// it.
class ZQ_EXPORT HttpServerInitContext {
public:
    /// The application must outlive the extension.
    explicit HttpServerInitContext(HttpApplication& rApplication) noexcept : m_rApplication(rApplication) {}

private:
    friend class HttpServerExtension;
    HttpApplication& m_rApplication;
};
