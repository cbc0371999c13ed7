#include "http/errorpage.h"

#include "http/reasonphrase.h"

namespace webcontainer {

void appendErrorPage(NarrowStringBufferBase& rBuffer, unsigned nStatus) {
    const auto appendTitle = [&] {
        appendDecimal(rBuffer, nStatus);
        rBuffer.append(' ');
        rBuffer.append(getReasonPhrase(nStatus));
    };
    rBuffer.append("<!DOCTYPE html>\n<html lang=\"en\"><head><title>");
    appendTitle();
    rBuffer.append("</title></head>\n<body><h1>");
    appendTitle();
    rBuffer.append(nStatus < 500 ? "</h1><p>The request cannot be answered as it is.</p></body></html>\n"
                                 : "</h1><p>The server could not answer the request.</p></body></html>\n");
}

}  // namespace webcontainer
