#pragma once

#include "base/filedescriptor.h"

namespace webcontainer {

/// The signals that the server acts upon, as something that can be read. No handler ever runs: the signals
/// are blocked in all threads started after the construction.
class Signals {
public:
    enum class ESignal { kEnd, kReload, kShowWork };

    /// Blocks TERM, INT, HUP and QUIT, and ignores PIPE. Before any thread starts. Throws StartError.
    Signals();

    /// Waits for the next one.
    ESignal wait();
    /// From now on only signals to end make the descriptor readable.
    void watchEndOnly();
    int getFd() const noexcept { return m_tSignals.get(); }

private:
    FileDescriptor m_tSignals;
};

}  // namespace webcontainer
