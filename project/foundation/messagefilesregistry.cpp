#include "zq/foundation/messagefilesregistry.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <pugixml.hpp>
#include <vector>

#include "zq/foundation/libloaded.h"
#include "zq/foundation/utf8text.h"

namespace {

namespace fs = std::filesystem;

/// Found from where this library was loaded: the folder that is installed with it or else, where it was
/// built, the folder "messages" beside its own.
fs::path defaultDirectory() {
    Dl_info tInfo{};
    if (dladdr(reinterpret_cast<const void*>(&defaultDirectory), &tInfo) == 0 || !tInfo.dli_fname)
        return "messages";
    std::error_code eIgnored;  // then the folder is not there
    const fs::path tFolder = fs::canonical(tInfo.dli_fname, eIgnored).parent_path();
    const fs::path tInstalled = tFolder / ZQ_MESSAGES;
    return fs::is_directory(tInstalled, eIgnored) ? tInstalled.lexically_normal()
                                                  : tFolder.parent_path() / "messages";
}

}  // namespace

struct MessageFilesRegistry::State {
    using Messages = std::map<ZQWString, ZQWString>;

    std::mutex m_tMutex;
    std::vector<std::string> m_tDirectories;
    std::vector<std::string> m_tPending;  ///< registered and not read yet
    std::vector<std::string> m_tKnown;    ///< every name ever registered
    /// Every table there ever was: another thread may still be reading the one before (there are as many as
    /// load rounds).
    std::vector<std::unique_ptr<const Messages>> m_tTables;
    /// The newest table, which lookups read without a lock.
    std::atomic<const Messages*> m_pMessages{nullptr};
    std::atomic<bool> m_bPending{false};

    State() { publish(std::make_unique<Messages>()); }
    void publish(std::unique_ptr<const Messages> pTable) {
        m_tTables.push_back(std::move(pTable));
        m_pMessages.store(m_tTables.back().get(), std::memory_order_release);
    }
    std::string readFile(const std::string& sName, Messages& rMessages) const;
    std::string findFile(const std::string& sName) const;
};

std::string MessageFilesRegistry::State::findFile(const std::string& sName) const {
    std::error_code eIgnored;  // a directory that cannot be looked into does not have the file
    for (auto it = m_tDirectories.rbegin(); it != m_tDirectories.rend(); ++it)
        if (fs::exists(fs::path(*it) / sName, eIgnored)) return fs::path(*it) / sName;
    return defaultDirectory() / sName;
}

std::string MessageFilesRegistry::State::readFile(const std::string& sName, Messages& rMessages) const {
    const std::string sPath = findFile(sName);
    const std::string sPlace = "message file " + sPath + ": ";
    pugi::xml_document tDocument;
    const pugi::xml_parse_result tResult = tDocument.load_file(sPath.c_str());
    if (!tResult) return sPlace + tResult.description() + "\n";
    if (!tDocument.child("messages")) return sPlace + "there is no <messages> element\n";
    std::string sProblems;
    for (const pugi::xml_node& rNode : tDocument.child("messages").children("message")) {
        const std::string_view sKey = rNode.attribute("key").value();
        if (sKey.empty())
            sProblems += sPlace + "a message has no key\n";
        else if (!rMessages.emplace(fromUtf8(sKey), fromUtf8(rNode.text().get())).second)
            sProblems += sPlace + "the key \"" + std::string(sKey) + "\" is defined twice\n";
    }
    return sProblems;
}

MessageFilesRegistry::State& MessageFilesRegistry::state() {
    static auto* const s_pState = new State;
    return *s_pState;
}

MessageFilesRegistry& MessageFilesRegistry::getInstance() {
    static auto* const s_pRegistry = new MessageFilesRegistry;
    return *s_pRegistry;
}

void MessageFilesRegistry::registerMessageFiles(const ZQWString& sName) {
    const std::string sFile = toUtf8(sName);
    {
        State& r = state();
        const std::lock_guard tLock(r.m_tMutex);
        if (std::find(r.m_tKnown.begin(), r.m_tKnown.end(), sFile) != r.m_tKnown.end()) return;
        r.m_tKnown.push_back(sFile);
        r.m_tPending.push_back(sFile);
        r.m_bPending.store(true, std::memory_order_release);
    }
    debug_tools::LoadJournal::add(debug_tools::LoadJournal::EKind::kMessageFile, sFile);
}

void MessageFilesRegistry::addDirectory(const std::string& sPath) {
    const std::lock_guard tLock(state().m_tMutex);
    state().m_tDirectories.push_back(sPath);
}

std::string MessageFilesRegistry::loadMessages() {
    State& r = state();
    const std::lock_guard tLock(r.m_tMutex);
    if (r.m_tPending.empty()) return {};
    auto pMessages = std::make_unique<State::Messages>(*r.m_pMessages.load(std::memory_order_relaxed));
    std::string sProblems;
    for (const std::string& sName : r.m_tPending)
        sProblems += r.readFile(sName, *pMessages);
    r.m_tPending.clear();
    r.publish(std::move(pMessages));
    r.m_bPending.store(false, std::memory_order_release);
    return sProblems;
}

std::optional<ZQWString> MessageFilesRegistry::findMessage(const ZQWString& sKey) {
    State& r = state();
    if (r.m_bPending.load(std::memory_order_acquire)) loadMessages();
    const State::Messages& rMessages = *r.m_pMessages.load(std::memory_order_acquire);
    const auto it = rMessages.find(sKey);
    if (it == rMessages.end()) return std::nullopt;
    return it->second;
}
