#pragma once

#include "base/filedescriptor.h"

namespace webcontainer {

/// The signals that the server acts upon, as something that can be read. No handler ever runs: the signals
/// are blocked in all threads started after the construction.
class Signals {
public:
    enum class ESignal { kEnd, kReload };

    /// Blocks TERM, INT, HUP and QUIT, and ignores PIPE. Before any thread starts. Throws StartError.
    Signals();

    /// Waits for the next one but QUIT.
    ESignal wait();
    /// From now on only signals to end make the descriptor readable.
    void watchEndOnly();
    int getFd() const noexcept { return m_tSignals.get(); }
    /// Whether QUIT has come since the last call. On any thread.
    bool hasQuitCome() const noexcept;

private:
    FileDescriptor m_tSignals;
    FileDescriptor m_tQuit;
};

}  // namespace webcontainer
