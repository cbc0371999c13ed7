#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "exchange/descriptor.h"
#include "exchange/temporarydirectory.h"
#include "zq/httpstream/zqhttpstream.h"

namespace sample {

/// A file of the store, as it was when it was asked for.
struct StoredFile {
    std::string sId;        ///< 32 lower-case hexadecimal digits
    ZQWString sName;        ///< as the client called it: any characters at all
    std::uint64_t nSize{};  ///< bytes
    std::timespec tTime{};  ///< when it was complete, UTC
    Descriptor tContent{};  ///< open for reading from the first byte, if the file was opened
};

/// The files that visitors leave for each other: a directory in which each has a random id. What a client
/// calls a file never becomes a name in the file system.
///
/// Files come into the store through an UploadBatch, written without a name and linked when they are whole; a
/// file never changes after that. All state is in the file system, so that any threads, and other processes
/// with the same directory, may use it at once; but each process counts for itself towards knMostFiles.
/// Failures of the system are std::system_error.
class FileStore {
public:
    /// So many, and no more, that the list stays short enough to be read.
    static constexpr std::size_t knMostFiles = 1000;

    /// Keeps files in the directory that the environment variable SAMPLE_FILES names, making it if need be;
    /// without one in a new directory for temporary files, which goes with the store. Removes what a process
    /// that was killed may have left. The file system must support files without names (O_TMPFILE).
    FileStore();
    FileStore(const FileStore&) = delete;
    FileStore& operator=(const FileStore&) = delete;

    /// The latest file first; none of them is open.
    std::vector<StoredFile> list() const;
    std::size_t count() const;
    /// Opens a file; false when there is none of that id, which may be any text.
    bool open(std::wstring_view sId, StoredFile& rFile) const;
    /// Removes a file, false likewise. Whoever reads it right now can go on to its end.
    bool remove(std::wstring_view sId) const;

    /// For those who add files: the descriptor of the directory, and the mutex to hold from counting the
    /// files to having added some.
    int getDirectory() const noexcept { return m_tDirectory.get(); }
    std::mutex& getPublishing() const noexcept { return m_tPublishing; }

private:
    bool openId(const std::string& sId, StoredFile& rFile) const;
    void removeOrphans() const;

    std::optional<TemporaryDirectory> m_tTemporary;  ///< when the directory is to go with the store
    Descriptor m_tDirectory;
    mutable std::mutex m_tPublishing;
};

}  // namespace sample
