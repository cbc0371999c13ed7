#pragma once

#include <string>

#include "zq/foundation/tl.h"
#include "zq/foundation/zqexport.h"

namespace debug_tools {

/// While it lives, diagnostics list the named library with its version as loaded. A library has one as a
/// static object of its first unit.
class ZQ_EXPORT LibLoaded {
public:
    /// The texts must outlive the object.
    LibLoaded(const char* pName, const char* pVersion);
    ~LibLoaded();
    LibLoaded(const LibLoaded&) = delete;
    LibLoaded& operator=(const LibLoaded&) = delete;

    /// A library that is loaded.
    struct Record {
        std::string sName;
        std::string sVersion;
    };
    /// What is loaded now, in the order of loading.
    static tl::vector<Record> list();

private:
    const char* m_pName;
    const char* m_pVersion;
};

/// What registered itself with the host while the process and its libraries were loaded, in that order: a
/// library, a message file, a log source, a performance counter. Lets an operator, and a test, see in which
/// order the units of a library came up.
class ZQ_EXPORT LoadJournal {
public:
    enum class EKind { kLibrary, kMessageFile, kLogSource, kCounter };
    /// One thing that has registered itself.
    struct Entry {
        EKind eKind;
        std::string sName;

        friend bool operator==(const Entry&, const Entry&) = default;
    };

    static void add(EKind eKind, std::string sName);
    static tl::vector<Entry> list();
};

}  // namespace debug_tools
