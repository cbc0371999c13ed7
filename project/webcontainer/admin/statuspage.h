#pragma once

#include <map>
#include <string>
#include <string_view>

#include "admin/adminsubject.h"
#include "admin/history.h"

namespace webcontainer {

/// How the server does, for people: texts by the names that stand in statuspage.html between double braces,
/// or in its attributes data-t (the text of an element), data-a (attribute:name) and data-r (the rows of a
/// table: name, tab, number and line end, of each).
using ShownStatus = std::map<std::string, std::string, std::less<>>;

ShownStatus showStatus(const AdminSubject& rSubject, const History& rHistory);

/// The page; its style and script carry sNonce, so that a Content-Security-Policy can demand it.
std::string makeStatusPage(const ShownStatus& rShown, std::string_view sNonce);
/// The same for programs, and for the page's script in its member "shown".
std::string makeStatusJson(const AdminSubject& rSubject, const History& rHistory);

/// The source of the page, embedded by the build.
extern const std::string_view s_ksStatusPageTemplate;

}  // namespace webcontainer
