#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "descriptor.h"
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
///     ID.name   the client's name for it, UTF-8
///     ID.data   the bytes; made last and removed first, so that it alone says whether the file exists
///
/// Both are written without a name and linked when they are whole; a file never changes after that. All state
/// is in the file system, so that any threads, and other processes with the same directory, may use it at
/// once. Failures of the system are std::system_error.
class FileStore {
public:
    /// So many, and no more, that the list stays short enough to be read.
    static constexpr std::size_t knMostFiles = 1000;

    /// Keeps files in the directory that the environment variable SAMPLE_FILES names, making it if need be;
    /// without one in a new directory for temporary files, which goes with the store.
    FileStore();
    ~FileStore();
    FileStore(const FileStore&) = delete;
    FileStore& operator=(const FileStore&) = delete;

    /// The latest file first; none of them is open.
    std::vector<StoredFile> list() const;
    std::size_t count() const;
    /// Opens a file; false when there is none of that id, which may be any text.
    bool open(std::wstring_view sId, StoredFile& rFile) const;
    /// Removes a file, false likewise. Whoever reads it right now can go on to its end.
    bool remove(std::wstring_view sId) const;

private:
    friend class FileUpload;

    std::vector<std::string> listIds() const;
    bool openId(const std::string& sId, StoredFile& rFile) const;

    std::string m_sTemporary;  ///< the path of the directory, if it is to go with the store
    Descriptor m_tDirectory;
};

/// A file on its way into a store: it has no name until publish(), so that nothing of it stays if that is
/// never reached, even if the process is killed.
class FileUpload {
public:
    /// The store must live as long as this object.
    explicit FileUpload(const FileStore& rStore);
    void write(const char* pData, std::size_t nLength);
    /// Makes the file visible and returns its id; the last call.
    std::wstring publish(std::wstring_view sName);

private:
    const FileStore& m_rStore;
    Descriptor m_tFile;
};

}  // namespace sample
