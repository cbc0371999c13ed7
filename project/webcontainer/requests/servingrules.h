#pragma once

#include <memory>
#include <string>

#include "http/methodrules.h"
#include "requests/errorpages.h"

namespace webcontainer {

/// What the front end does by itself for its clients, beyond its limits. Constant while it serves, but for
/// the pages, which lock themselves.
struct ServingRules {
    MethodRules tMethods;
    std::shared_ptr<ErrorPages> pErrorPages = std::make_shared<ErrorPages>(std::string());  ///< never null
    std::string sServerField;  ///< the value of the field Server (RFC 9110 section 10.2.4); empty: none
};

}  // namespace webcontainer
