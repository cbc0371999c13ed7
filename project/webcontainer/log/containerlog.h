#pragma once

#include <string_view>

#include "zq/foundation/exception.h"
#include "zq/services/logger.h"

namespace webcontainer {

/// Sources of the front end's log entries.
extern const LogSourceHandle s_lsContainer;   ///< start, reload, end
extern const LogSourceHandle s_lsConnection;  ///< accepting, vanished and slow clients
extern const LogSourceHandle s_lsRequest;     ///< refused and failed requests, faulty responses

/// Whether anybody wants such an entry; ask before you build its text.
bool isLogged(ELogSeverity eSeverity, const LogSourceHandle& hSource) noexcept;
/// Writes an entry. Client bytes may stand in the text as they came: the writers escape them.
void logText(ELogSeverity eSeverity, const LogSourceHandle& hSource, std::string_view sText) noexcept;

/// What an exception has to say, as UTF-8.
std::string describe(const Exception& rException);

}  // namespace webcontainer
