#pragma once

#include <string_view>
#include <vector>

#include "http/requestinput.h"

namespace webcontainer {

/// What one proxy says of whoever asked it. All texts lie in the request.
struct ForwardedHop {
    std::string_view sFor;
    std::string_view sProto;
    std::string_view sHost;
};

/// What the proxies on a request's way say, the nearest one last: of Forwarded (RFC 7239) or, when there is
/// no such field, of X-Forwarded-For. X-Forwarded-Proto and X-Forwarded-Host say nothing of who said it:
/// their last element is taken for every hop. What is malformed is a hop without a sFor.
std::vector<ForwardedHop> readForwardedHops(const RequestInput& rInput);

}  // namespace webcontainer
