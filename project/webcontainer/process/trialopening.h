#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace webcontainer {

/// A scope in which a file is opened for trial. Its end removes the file if it is new and empty, and the
/// folders that were made for it.
class TrialOpening {
public:
    explicit TrialOpening(const std::string& sFile);
    ~TrialOpening();
    TrialOpening(const TrialOpening&) = delete;
    TrialOpening& operator=(const TrialOpening&) = delete;

private:
    std::vector<std::filesystem::path> m_tMissing;  ///< at the beginning; from the file upwards
};

}  // namespace webcontainer
