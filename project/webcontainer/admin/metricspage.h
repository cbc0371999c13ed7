#pragma once

#include <string>
#include <string_view>

#include "admin/adminsubject.h"
#include "admin/history.h"

namespace webcontainer {

/// The media type of the page.
inline constexpr char s_ksMetricsType[] = "text/plain; version=0.0.4; charset=utf-8";

/// Everything that is counted, in Prometheus' text format: the front end's statistics as webcontainer_*, and
/// every performance counter of the process under its name made legal.
std::string makeMetricsPage(const AdminSubject& rSubject, const History& rHistory);

/// "HttpServer/CurrentRequests" -> "httpserver_current_requests": words of the last part are set apart.
std::string makeMetricName(std::string_view sCounter);

}  // namespace webcontainer
