#include "http/methodrules.h"

#include <algorithm>

namespace webcontainer {

namespace {

/// RFC 9110 section 9.3, RFC 5789.
constexpr std::string_view s_ksKnown[] = {"GET",     "HEAD",    "POST",  "PUT",  "DELETE",
                                          "CONNECT", "OPTIONS", "TRACE", "PATCH"};

/// What is asked is what the server can do in general, not what there is at some path (RFC 9110 section
/// 9.3.7): an application would take it for the name of a resource. With "*", or with a scheme and neither
/// path nor query, which stands for the same (RFC 9112 section 3.2.4).
bool isOfServer(std::string_view sMethod, std::string_view sTarget) noexcept {
    if (sMethod != "OPTIONS" || sTarget.starts_with('/')) return false;
    return sTarget.find_first_of("/?", sTarget.find("://") + 3) == sTarget.npos;
}

}  // namespace

std::string_view MethodRules::getAllowed() const noexcept {
    if (bPost) return bHead ? "GET, HEAD, POST" : "GET, POST";
    return bHead ? "GET, HEAD" : "GET";
}

Refusal judgeMethod(std::string_view sMethod, std::string_view sTarget, const MethodRules& rRules) noexcept {
    if (isOfServer(sMethod, sTarget)) return {200, ""};
    if (!rRules.bStrict || sMethod == "GET") return {};
    if ((rRules.bHead && sMethod == "HEAD") || (rRules.bPost && sMethod == "POST")) return {};
    if (std::ranges::find(s_ksKnown, sMethod) == std::end(s_ksKnown)) return {501, "an unknown method"};
    return {405, "a method that nothing here allows"};
}

}  // namespace webcontainer
