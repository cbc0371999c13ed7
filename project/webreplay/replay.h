#pragma once

#include <memory>
#include <string>

#include "base/limits.h"
#include "comparison.h"
#include "http/methodrules.h"
#include "zq/httpextension/httpapplication.h"
#include "zq/memoryhost/memoryhost.h"

namespace webreplay {

/// An application behind the module, without sockets, in a process configured as the server was. One for the
/// process.
class Replay {
public:
    /// sConfig: the server's configuration; empty: everything has its default. Throws ConfigError and, of an
    /// application that cannot be had, StartError.
    Replay(const std::string& sApplication, const std::string& sConfig, Masks tMasks);

    /// Runs it, and returns how what comes of it differs from the recording; empty: not at all. Any number
    /// of threads.
    std::string run(const Recording& rRecording);

private:
    std::string parseAgain(const Recording& rRecording) const;

    const Masks m_tMasks;
    std::unique_ptr<HttpApplication> m_pApplication;
    std::unique_ptr<MemoryHost> m_pHost;
    webcontainer::Limits m_tLimits;
    webcontainer::MethodRules m_tMethods;
};

}  // namespace webreplay
