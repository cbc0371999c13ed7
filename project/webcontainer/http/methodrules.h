#pragma once

#include <string_view>

#include "http/requesthead.h"

namespace webcontainer {

/// What the front end makes of methods. A handler knows GET and POST, and answers for all others itself
/// unless these rules take them from it.
struct MethodRules {
    /// The handler sees a HEAD as a GET, of whose response the client gets the head (RFC 9110 section 9.3.2).
    bool bHead = true;
    /// Only allowed methods reach the handler: of the others those that the RFCs define get 405, unknown ones
    /// 501 (RFC 9110 section 9.1).
    bool bStrict = false;
    bool bPost = true;  ///< POST is among what is allowed

    /// As it stands in the field Allow (RFC 9110 section 10.2.1).
    std::string_view getAllowed() const noexcept;
};

/// What the front end answers to a request because of its method; status 0: the handler does. With 200 and
/// 405 goes the field Allow.
Refusal judgeMethod(std::string_view sMethod, std::string_view sTarget, const MethodRules& rRules) noexcept;

}  // namespace webcontainer
