#pragma once

#include <optional>
#include <string>

#include "zq/foundation/zqexport.h"
#include "zq/foundation/zqstring.h"

/// The process-wide registry of message files. A message file is XML:
///
///     <messages>
///       <message key="kmsgSomething">Text with %1 and %2.</message>
///     </messages>
///
/// Libraries register the names of their files while they are loaded; the files are read on the first lookup
/// (or by loadMessages(), which a host calls before its first request), each from the first of the registry's
/// directories that has it. Lookups take no lock once everything registered has been read.
class ZQ_EXPORT MessageFilesRegistry {
public:
    /// Never destroyed: exceptions show their messages until the process ends.
    static MessageFilesRegistry& getInstance();

    /// Adds a message file by name; a name that is known already changes nothing.
    void registerMessageFiles(const ZQWString& sName);
    /// Puts a directory in front of those that are searched. Without any, the one that is installed with this
    /// library (share/webhttpserver/messages), or else the folder "messages" beside the folder that holds it.
    void addDirectory(const std::string& sPath);
    /// Reads what is registered and not yet read. Returns what is wrong, a line for each file that is missing
    /// or is no message file, and for each message without a key or with one that is taken, which is passed
    /// over; empty when all is well.
    std::string loadMessages();
    /// The text under a key, inserts unfilled; nothing when no file defines it. Reads files not yet read.
    std::optional<ZQWString> findMessage(const ZQWString& sKey);

private:
    MessageFilesRegistry() = default;
    struct State;
    static State& state();
};
