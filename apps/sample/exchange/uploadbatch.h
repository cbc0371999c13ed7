#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "exchange/filestore.h"

namespace sample {

/// The files of one request on their way into a store. They have no names until publish() gives all of them
/// theirs, so that nothing of them stays if that is never reached, even if the process is killed.
///
///     startFile()   write() ...      for each file
///     publish()                      at most once, the last call
///
/// One thread uses a batch. Failures of the system are std::system_error; ENOSPC stands for a full store too.
class UploadBatch {
public:
    /// Each holds a descriptor until it is published. Beyond it: TooManyFiles.
    static constexpr std::size_t knMostFiles = 100;
    struct TooManyFiles : std::length_error {
        TooManyFiles() : length_error("too many files at once") {}
    };

    /// The store must live as long as this object.
    explicit UploadBatch(const FileStore& rStore);

    /// Begins a file; sName is what the client calls it.
    void startFile(std::wstring_view sName);
    /// Appends to the file begun last.
    void write(const char* pData, std::size_t nLength);
    bool empty() const noexcept { return m_tFiles.empty(); }
    /// Makes all files visible, those that were begun later as later ones; when it throws, none.
    void publish() const;

private:
    struct File {
        std::string sId;
        std::wstring sName;
        Descriptor tData;
    };
    void linkAll() const;
    void linkName(const File& rFile) const;
    void linkData(const File& rFile) const;

    const FileStore& m_rStore;
    const std::size_t m_nRoom;  ///< in the store when the request began, to refuse early what cannot fit
    std::vector<File> m_tFiles;
};

}  // namespace sample
