#pragma once

#include <ctime>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "zq/applicationkit/temporaryfolder.h"
#include "zq/applicationkit/uploadedfile.h"

namespace sample {

/// A file of the store, as it was when it was asked for.
struct StoredFile {
    std::string sId;        ///< 32 lower-case hexadecimal digits
    ZQWString sName;        ///< as the client called it: any characters at all
    std::uint64_t nSize{};  ///< bytes
    std::timespec tTime{};  ///< when it was complete, UTC
    kit::Descriptor tContent{};
};

/// The files that visitors leave for each other: a folder in which each has an id, made of that of
/// the request it came with: so a recording of requests finds the same files when it is replayed. What a
/// client calls a file never becomes a name in the file system.
///
///     ID.name   the client's name for it, UTF-8
///     ID.data   the bytes; made last and removed first, so that it alone says whether the file exists
///
/// A file never changes once it is there. All state is in the file system, so that any threads, and other
/// processes with the same folder, may use it at once; but each process counts for itself towards
/// knMostFiles. Failures of the system are std::system_error.
class FileStore {
public:
    /// So many, and no more, that the list stays short enough to be read.
    static constexpr std::size_t knMostFiles = 1000;

    /// Keeps files in the folder that the environment variable SAMPLE_FILES names, making it if need be;
    /// without one in a new folder for temporary files, which goes with the store. Removes what a process
    /// that was killed may have left. The file system must support files without names (O_TMPFILE).
    FileStore();

    /// Where files must be made that are to be added.
    const std::string& getFolder() const noexcept { return m_sFolder; }
    /// The latest file first; none of them is open.
    std::vector<StoredFile> list() const;
    /// Opens a file; false when there is none of that id, which may be any text.
    bool open(std::wstring_view sId, StoredFile& rFile) const;
    /// Removes a file, false likewise. Whoever reads it right now can go on to its end.
    bool remove(std::wstring_view sId) const;
    /// Makes all these files visible, later ones as later ones; when it throws, none. A full store is a
    /// kit::RequestError. sRequestId: ServerVariable::kRequestId; of a host that has none, "".
    void add(const std::vector<kit::UploadedFile>& rFiles, const std::string& sRequestId) const;

private:
    std::string path(const std::string& sId, const char* pEnding) const;
    bool openId(const std::string& sId, StoredFile& rFile) const;
    bool removeId(const std::string& sId) const;
    void link(const std::vector<kit::UploadedFile>& rFiles, const std::vector<std::string>& rIds) const;
    void removeOrphans() const;

    std::optional<kit::TemporaryFolder> m_tTemporary;  ///< when the folder is to go with the store
    std::string m_sFolder;
    mutable std::mutex m_tAdding;
};

}  // namespace sample
