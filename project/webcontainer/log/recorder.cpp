#include "log/recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <random>
#include <utility>

#include "base/monotonicclock.h"
#include "base/starterror.h"
#include "log/containerlog.h"

namespace webcontainer {

namespace {

constexpr std::string_view s_ksVariablePrefix = "HTTP_";

/// As names of fields and of the variables made of them are alike.
char fold(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c == '_' ? '-' : c;
}

bool isOneOf(std::string_view sName, const std::vector<std::string>& rNames) {
    return std::ranges::any_of(
        rNames, [sName](const std::string& s) { return std::ranges::equal(s, sName, {}, fold, fold); });
}

void redactFields(Recording::Fields& rFields, std::string_view sPrefix,
                  const std::vector<std::string>& rNames) {
    for (auto& [sName, sValue] : rFields)
        if (sName.starts_with(sPrefix) && isOneOf(std::string_view(sName).substr(sPrefix.size()), rNames))
            sValue = Recording::s_ksRedacted;
}

bool isSeen(char c) {
    return static_cast<unsigned char>(c) > ' ' && c != '\x7f';
}

/// Of each line that is such a field, or goes on with one (RFC 9112 section 5.2), whatever can be seen. What
/// was refused may have its names among any controls, no colon, and returns for line ends.
void redactLines(std::string& rsRaw, const std::vector<std::string>& rNames) {
    bool bSecret = false;
    for (auto it = rsRaw.begin(); it != rsRaw.end();) {
        const auto itLine = it;
        while (it != rsRaw.end() && *it != '\r' && *it != '\n')
            ++it;
        const bool bGoesOn = *itLine == ' ' || *itLine == '\t' || *itLine == '\n' || *itLine == '\r';
        const auto fNames = [&](auto itEnd) {
            std::string sName;
            std::copy_if(itLine, itEnd, std::back_inserter(sName), isSeen);
            return isOneOf(sName, rNames);
        };
        const auto itColon = std::find(itLine, it, ':'), itWord = std::find_if_not(itLine, it, isSeen);
        const auto itEnd = fNames(itColon) ? itColon : fNames(itWord) ? itWord : it;
        bSecret = itEnd != it || (bGoesOn && bSecret);
        if (bSecret) std::replace_if(itEnd != it ? itEnd + 1 : itLine, it, isSeen, 'x');
        if (it != rsRaw.end()) ++it;
    }
}

}  // namespace

void redact(Recording& rRecording, const std::vector<std::string>& rNames) {
    redactFields(rRecording.tHeaders, {}, rNames);
    redactFields(rRecording.tVariables, s_ksVariablePrefix, rNames);
    for (Recording::Event& r : rRecording.tEvents)
        if (r.eCall == Recording::ECall::kAdd && isOneOf(r.sName, rNames)) r.sBytes = Recording::s_ksRedacted;
    redactLines(rRecording.sRaw, rNames);
}

Recorder::Recorder(const RecorderSettings& rSettings) : m_tSettings(rSettings), m_tFolder(openFolder()) {
    if (!m_tFolder.isOpen() || ::faccessat(m_tFolder.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        throwStartError("cannot record into the folder " + m_tSettings.sFolder + ": " + describeError(errno) +
                        "; make it, or choose another one with Recording/Folder");
    m_nFolderBytes = sumFolder();
    m_tWriter = std::jthread([this](const std::stop_token& rStop) { run(rStop); });
}

void Recorder::take(std::unique_ptr<RecordingDraft> pDraft) noexcept {
    try {
        if (!m_bStopped && m_tQueue.push(std::move(pDraft))) return;
    } catch (const std::bad_alloc&) {
        // Then it is lost.
    }
    countLost();
}

void Recorder::run(const std::stop_token& rStop) noexcept {
    while (const std::unique_ptr<RecordingDraft> p = m_tQueue.pop(rStop)) {
        try {
            write(p->finish());
        } catch (const std::exception& e) {
            countLost();
            logMade(kSevError, s_lsContainer,
                    [&] { return std::string("a recording is lost: ") + e.what(); });
        }
    }
}

void Recorder::write(Recording tRecording) {
    redact(tRecording, m_tSettings.tRedacted);
    const std::string sText = tRecording.write();
    if (m_bStopped || !hasRoomFor(sText.size())) return countLost();
    std::string sName = tRecording.sTime + "-" + tRecording.sId + "-" + std::to_string(++m_nFiles) + ".rec";
    std::erase(sName, ':');  // which copying programs take for the end of a machine's name
    if (writeFile(sName, sText)) {
        m_nFolderBytes += sText.size();
        m_nWritten.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    const int nError = errno;
    m_tFolder = {};  // there may be another one by that name when it goes on
    m_bStopped = true;
    countLost();
    logText(
        kSevError, s_lsContainer,
        "recording stops until SIGHUP, because " + sName + " could not be written: " + describeError(nError));
}

bool Recorder::hasRoomFor(std::size_t nBytes) {
    const auto fHasRoom = [&] { return m_nFolderBytes + nBytes <= m_tSettings.nMaxFolderBytes; };
    if (fHasRoom()) return true;
    if (!m_tFull.isTime()) return false;
    m_nFolderBytes = sumFolder();
    if (fHasRoom()) return true;
    logText(kSevWarning, s_lsContainer,
            "recordings are lost: Recording/MaxFolderMegabytes is reached in " + m_tSettings.sFolder);
    return false;
}

std::uint64_t Recorder::sumFolder() const {
    std::uint64_t nSum = 0;
    std::error_code eIgnored;
    for (std::filesystem::directory_iterator t(m_tSettings.sFolder, eIgnored), tEnd; !eIgnored && t != tEnd;
         t.increment(eIgnored)) {
        std::error_code eGone;
        const std::uint64_t nSize = t->file_size(eGone);
        if (!eGone) nSum += nSize;
    }
    return nSum;
}

int Recorder::openFolder() const noexcept {
    return ::open(m_tSettings.sFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// Whole or not at all, unless the machine stops. False: errno says why.
bool Recorder::writeFile(const std::string& sName, std::string_view sText) noexcept {
    if (!m_tFolder.isOpen()) m_tFolder = FileDescriptor(openFolder());
    if (!m_tFolder.isOpen()) return false;
    FileDescriptor tFile(
        ::openat(m_tFolder.get(), sName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    while (tFile.isOpen() && !sText.empty()) {
        const ssize_t nWritten = ::write(tFile.get(), sText.data(), sText.size());
        if (nWritten < 0) {
            const int nError = errno;
            ::unlinkat(m_tFolder.get(), sName.c_str(), 0);
            errno = nError;
            return false;
        }
        sText.remove_prefix(static_cast<std::size_t>(nWritten));
    }
    return tFile.isOpen();
}

unsigned RecordShare::draw() const noexcept {
    static thread_local std::minstd_rand t_tRandom(static_cast<unsigned>(
        static_cast<std::uintptr_t>(monotonicUs()) ^ reinterpret_cast<std::uintptr_t>(this)));
    return std::uniform_int_distribution<unsigned>(1, 2 * m_pRecorder->getSettings().nOneIn - 1)(t_tRandom);
}

}  // namespace webcontainer
