#include "requests/requestcontext.h"

namespace webcontainer {

ClientSocket::ESent RequestContext::send(std::span<iovec> tPieces, Patience& rPatience,
                                         unsigned nResponseStatus) {
    const std::uint64_t nSentBefore = rStatistics.getSent();
    const ClientSocket::ESent eSent = rSocket.send(tPieces, rPatience);
    if (rStatistics.getSent() != nSentBefore) nStatus = nResponseStatus;
    return eSent;
}

std::string_view RequestContext::tellError(NarrowStringBufferBase& rBody, unsigned nErrorStatus,
                                           std::string_view sReason) {
    const std::string_view sType =
        rRules.pErrorPages->append(rBody, rInput, {nErrorStatus, sReason, tId.get(rInput)});
    rBuffers.tHead.addField("Content-Type", sType);
    rBuffers.tHead.addField("Vary", "Accept");
    return rBody.view();
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
