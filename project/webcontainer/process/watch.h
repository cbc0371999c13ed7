#pragma once

#include "process/commandline.h"

namespace webcontainer {

/// Serves an application while its developer builds it. This process holds the listening sockets and hands
/// them over to one instance of the server after the other:
///
///     the library's file is new -- quiet for a moment -- another instance starts beside the one that serves
///        |  it is ready:       the one before answers its requests in flight, and ends
///        |  it does not start: it says why, and the one before goes on
///
/// So every request is answered, by the old application or the new one. An instance that crashes is started
/// again. Linkers, installers and mv put another file in place; whoever writes into the file instead, as cp
/// does, changes code that is being run.
///
/// Ends as the last instance does, after a signal to end; HUP and QUIT go to the instance. Returns the exit
/// code. Throws ConfigError and StartError. To be called by the only thread.
int watchApplication(const CommandLine& rCommandLine);

}  // namespace webcontainer
