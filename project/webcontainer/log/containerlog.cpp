#include "log/containerlog.h"

#include <exception>

#include "zq/foundation/utf8text.h"

namespace webcontainer {

const LogSourceHandle s_lsContainer("webcontainer");
const LogSourceHandle s_lsConnection("webcontainer.connection");
const LogSourceHandle s_lsRequest("webcontainer.request");

bool isLogged(ELogSeverity eSeverity, const LogSourceHandle& hSource) noexcept {
    return hSource.getSource()->getEnabledWriters(eSeverity) != 0;
}

void logText(ELogSeverity eSeverity, const LogSourceHandle& hSource, std::string_view sText) noexcept {
    if (!isLogged(eSeverity, hSource)) return;
    try {
        TWLogger::getLogger().logMessage(eSeverity, hSource, GDStringRef(fromUtf8(sText)), {});
    } catch (const std::exception&) {
        // No memory for the text: the log is the smallest worry now.
    }
}

std::string describe(const Exception& rException) {
    return toUtf8(rException.getMessageText());
}

}  // namespace webcontainer
