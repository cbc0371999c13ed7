#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace test {

/// A new empty directory, removed with everything in it at the end of the scope.
class TemporaryDirectory {
public:
    TemporaryDirectory() : m_tPath(std::filesystem::temp_directory_path() / "zqtestXXXXXX") {
        std::string sTemplate = m_tPath;
        if (!mkdtemp(sTemplate.data())) throw std::runtime_error("no temporary directory");
        m_tPath = sTemplate;
    }
    ~TemporaryDirectory() {
        std::error_code eIgnored;
        std::filesystem::remove_all(m_tPath, eIgnored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::string path(std::string_view sName = {}) const { return sName.empty() ? m_tPath : m_tPath / sName; }
    /// Writes a file and returns its path.
    std::string write(std::string_view sName, std::string_view sContents) const {
        std::ofstream(path(sName), std::ios::binary) << sContents;
        return path(sName);
    }
    /// The contents of a file; empty when there is none.
    std::string read(std::string_view sName) const {
        std::ostringstream tContents;
        tContents << std::ifstream(path(sName), std::ios::binary).rdbuf();
        return tContents.str();
    }

private:
    std::filesystem::path m_tPath;
};

}  // namespace test
