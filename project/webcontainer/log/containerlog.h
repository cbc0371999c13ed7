#pragma once

#include <new>
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

/// For threads that go on without memory: fText makes the text, and there is no entry when it cannot.
template <class MakeText>
void logMade(ELogSeverity eSeverity, const LogSourceHandle& hSource, MakeText fText) noexcept {
    try {
        logText(eSeverity, hSource, fText());
    } catch (const std::bad_alloc&) {
        // What it would have told of goes on.
    }
}

/// What an exception has to say, as UTF-8.
std::string describe(const Exception& rException);

}  // namespace webcontainer
