#include "replay.h"

#include <algorithm>
#include <vector>

#include "http/requestinput.h"
#include "process/applicationlibrary.h"
#include "process/containersettings.h"
#include "requests/bodyerror.h"
#include "zq/foundation/messagefilesregistry.h"
#include "zq/httpstream/multipartlimits.h"
#include "zq/memoryhost/recorded.h"
#include "zq/services/config.h"

namespace webreplay {

namespace {

using webcontainer::Parsed;
using webcontainer::Refusal;

struct Judgement {
    bool bParses;
    std::vector<Refusal> tRefusals;
};

/// What a front end may have refused the bytes with: what the parser says or, where it is content, what comes
/// of the method or of a body that has not come as a whole.
Judgement judge(std::string_view sRaw, const webcontainer::Limits& rLimits,
                const webcontainer::MethodRules& rMethods) {
    webcontainer::RequestInput tInput(rLimits, webcontainer::RequestInput::fullCapacity(rLimits));
    Parsed tParsed = Parsed::kNeedMore;
    while (!sRaw.empty() && tParsed == Parsed::kNeedMore) {
        const std::span<char> tRoom = tInput.room();
        const std::size_t nPiece = sRaw.copy(tRoom.data(), tRoom.size());
        tInput.commit(nPiece);
        sRaw.remove_prefix(nPiece);
        tParsed = tInput.advance();
    }
    if (tParsed == Parsed::kRefused) return {false, {tParsed.getRefusal()}};
    if (!tInput.isHeadComplete()) return {true, {}};
    const webcontainer::RequestHead& rHead = tInput.getHead();
    std::vector<Refusal> tRefusals{
        judgeMethod(tInput.text(rHead.tMethod), tInput.text(rHead.tTarget), rMethods)};
    if (tRefusals[0].nStatus == 0) tRefusals.clear();
    if (tParsed == Parsed::kNeedMore) tRefusals.push_back(webcontainer::s_tBodyTruncated);
    return {true, tRefusals};
}

std::string describe(unsigned nStatus, std::string_view sReason) {
    return std::to_string(nStatus).append(" (").append(sReason).append(")");
}

}  // namespace

Replay::Replay(const std::string& sApplication, const std::string& sConfig, Masks tMasks)
    : m_tMasks(std::move(tMasks)) {
    const auto hInstance = sConfig.empty() ? ConfigReaderInstance::fromText("", "defaults")
                                           : ConfigReaderInstance::fromFile(sConfig);
    ConfigReader::setGlobalInstance(hInstance);
    const ConfigReader tReader(hInstance);
    m_tLimits = webcontainer::readLimits(tReader);
    m_tMethods = webcontainer::readMethodRules(tReader);
    MessageFilesRegistry::getInstance().loadMessages();
    webcontainer::applyFeatures(tReader);
    m_pApplication = webcontainer::ApplicationLibrary(sApplication).create();
    m_pHost = std::make_unique<MemoryHost>(*m_pApplication);
    MultipartLimits::setDefaults({.nMaxFieldBytes = MultipartLimits::s_knServersMaxFieldBytes});
    ConfigBase::loadAll(tReader);
}

std::string Replay::run(const Recording& rRecording) {
    if (rRecording.tRefusal) return parseAgain(rRecording);
    const std::time_t nBegin = std::time(nullptr);
    return compare(rRecording, m_pHost->run(toMemoryRequest(rRecording)), nBegin, m_tMasks);
}

std::string Replay::parseAgain(const Recording& rRecording) const {
    const Recording::Refusal& rThen = *rRecording.tRefusal;
    const auto [bParses, tNow] = judge(rRecording.sRaw, m_tLimits, m_tMethods);
    const auto fIsThen = [&](const Refusal& r) {
        return r.nStatus == rThen.nStatus && r.pReason == rThen.sReason;
    };
    // What the server did about a late client, or too many, the bytes do not tell.
    const bool bOfTheMoment = rThen.nStatus == 408 || rThen.nStatus == 503;
    if (std::ranges::any_of(tNow, fIsThen) || (bOfTheMoment && bParses)) return {};
    return "refusal: " + describe(rThen.nStatus, rThen.sReason) + " then, " +
           (tNow.empty() ? "none" : describe(tNow[0].nStatus, tNow[0].pReason)) + " now\n";
}

}  // namespace webreplay
