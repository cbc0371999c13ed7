#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/filedescriptor.h"
#include "log/accessline.h"

namespace webcontainer {

/// Where the access log goes and how it looks.
struct AccessLogSettings {
    std::string sFile;  ///< a path, "-" for standard output, empty for no log
    EAccessFormat eFormat = EAccessFormat::kCombined;
};

/// The file that the access log's lines go to. Any thread may write, without a lock: each line is one write
/// at the end of the file. A line that cannot be written is lost and counted; nothing waits for the disk's
/// owner. (Standard output may be a pipe, whose reader can hold the server up.)
class AccessLog {
public:
    /// Throws StartError when the file cannot be opened.
    explicit AccessLog(const AccessLogSettings& rSettings);

    EAccessFormat getFormat() const noexcept { return m_tSettings.eFormat; }
    /// sLine ends with a line end, and has no other.
    void write(std::string_view sLine) noexcept;
    /// Opens the file anew under its name, after an outside tool has moved it away. Keeps the old one when
    /// that fails. Not on two threads at once.
    void reopen() noexcept;
    /// For a line that could not even be made.
    void countLost(int nError) noexcept;
    std::uint64_t getLost() const noexcept { return m_nLost.load(std::memory_order_relaxed); }

private:
    static constexpr std::int64_t s_knComplaintIntervalMs = 10000;

    FileDescriptor open() const noexcept;

    const AccessLogSettings m_tSettings;
    const FileDescriptor m_tFile;      ///< the same number for ever, whatever file it stands for
    std::atomic<bool> m_bTorn{false};  ///< the file ends within a line
    std::atomic<std::uint64_t> m_nLost{0};
    std::atomic<std::int64_t> m_nNextComplaintMs{0};
};

}  // namespace webcontainer
