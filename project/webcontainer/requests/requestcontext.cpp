#include "requests/requestcontext.h"

namespace webcontainer {

ClientSocket::ESent RequestContext::send(std::span<iovec> tPieces, Patience& rPatience,
                                         unsigned nResponseStatus) {
    const std::uint64_t nSentBefore = rStatistics.getSent();
    const ClientSocket::ESent eSent = rSocket.send(tPieces, rPatience);
    if (rStatistics.getSent() != nSentBefore) nStatus = nResponseStatus;
    return eSent;
}

std::string RequestContext::describe() {
    std::string sText;
    if (rInput.isHeadComplete()) {
        NarrowStringBuffer tStorage;
        std::string_view sPath;
        variables().find("URL", sPath, tStorage);
        sText.append(rInput.text(rInput.getHead().tMethod)).append(" ").append(sPath);
    } else {
        sText = "a request";
    }
    sText.append(" from ").append(tOrigin.get(rInput, rEnds).describeClient());
    return sText.append(" (request ").append(tId.get(rInput)).append(")");
}

}  // namespace webcontainer
