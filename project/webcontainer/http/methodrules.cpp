#include "http/methodrules.h"

#include <algorithm>

namespace webcontainer {

namespace {

/// RFC 9110 section 9.3, RFC 5789.
constexpr std::string_view s_ksKnown[] = {"GET",     "HEAD",    "POST",  "PUT",  "DELETE",
                                          "CONNECT", "OPTIONS", "TRACE", "PATCH"};

}  // namespace

Refusal judgeMethod(std::string_view sMethod, std::string_view sTarget, const MethodRules& rRules) noexcept {
    // "*" asks what the server can do in general, not what there is at some path (RFC 9110 section 9.3.7): an
    // application would take it for the name of a resource.
    if (sTarget == "*") return {200, ""};
    if (!rRules.bStrict || sMethod == "GET" || sMethod == "POST") return {};
    if (rRules.bHead && sMethod == "HEAD") return {};
    if (std::ranges::find(s_ksKnown, sMethod) == std::end(s_ksKnown)) return {501, "an unknown method"};
    return {405, "a method that nothing here allows"};
}

}  // namespace webcontainer
