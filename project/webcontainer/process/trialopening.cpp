#include "process/trialopening.h"

#include <system_error>

namespace webcontainer {

TrialOpening::TrialOpening(const std::string& sFile) {
    std::error_code eIgnored;
    for (std::filesystem::path t = sFile; !t.empty() && !exists(symlink_status(t, eIgnored));
         t = t.parent_path())
        m_tMissing.push_back(t);
}

TrialOpening::~TrialOpening() {
    std::error_code eIgnored;
    for (const std::filesystem::path& r : m_tMissing)
        if (is_empty(r, eIgnored)) remove(r, eIgnored);
}

}  // namespace webcontainer
