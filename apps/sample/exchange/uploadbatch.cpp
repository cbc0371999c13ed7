#include "exchange/uploadbatch.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "exchange/storefiles.h"
#include "zq/httpstream/unicodebuffer.h"

namespace sample {

namespace {

[[noreturn]] void failFull() {
    throw std::system_error(ENOSPC, std::generic_category(), "the store is full");
}

}  // namespace

UploadBatch::UploadBatch(const FileStore& rStore)
    : m_rStore(rStore),
      m_nRoom(FileStore::knMostFiles - std::min(rStore.count(), FileStore::knMostFiles)) {}

void UploadBatch::startFile(std::wstring_view sName) {
    if (m_tFiles.size() == knMostFiles) throw TooManyFiles();
    if (m_tFiles.size() == m_nRoom) failFull();
    m_tFiles.push_back(
        {storefiles::makeId(), std::wstring(sName), storefiles::makeNameless(m_rStore.getDirectory())});
}

void UploadBatch::write(const char* pData, std::size_t nLength) {
    storefiles::writeAll(m_tFiles.back().tData, pData, nLength);
}

void UploadBatch::publish() const {
    const std::lock_guard tLock(m_rStore.getPublishing());
    if (m_rStore.count() + m_tFiles.size() > FileStore::knMostFiles) failFull();
    try {
        linkAll();
    } catch (...) {
        for (const File& rFile : m_tFiles)
            storefiles::unlinkFile(m_rStore.getDirectory(), rFile.sId);
        throw;
    }
}

void UploadBatch::linkAll() const {
    for (const File& rFile : m_tFiles)
        linkName(rFile);
    for (const File& rFile : m_tFiles)
        linkData(rFile);
}

void UploadBatch::linkName(const File& rFile) const {
    const Descriptor tName = storefiles::makeNameless(m_rStore.getDirectory());
    const std::string sName = toUtf8(rFile.sName);
    storefiles::writeAll(tName, sName.data(), sName.size());
    storefiles::linkFile(tName, m_rStore.getDirectory(), rFile.sId + storefiles::s_ksName);
}

void UploadBatch::linkData(const File& rFile) const {
    // The file system's own clock is too coarse to tell which of two files came first.
    std::timespec tNow{};
    clock_gettime(CLOCK_REALTIME, &tNow);
    const std::timespec tTimes[] = {tNow, tNow};
    if (futimens(rFile.tData.get(), tTimes) != 0) storefiles::fail("cannot date a file");
    storefiles::linkFile(rFile.tData, m_rStore.getDirectory(), rFile.sId + storefiles::s_ksData);
}

}  // namespace sample
