#include "requestcontext.h"

namespace webcontainer {

std::string RequestContext::describe() const {
    std::string sText;
    if (rInput.isHeadComplete()) {
        NarrowStringBuffer tStorage;
        std::string_view sPath;
        ServerVariables(rInput, rEnds).find("URL", sPath, tStorage);
        sText.append(rInput.text(rInput.getHead().tMethod)).append(" ").append(sPath);
    } else {
        sText = "a request";
    }
    return sText.append(" from ").append(rEnds.tClient.text());
}

}  // namespace webcontainer
