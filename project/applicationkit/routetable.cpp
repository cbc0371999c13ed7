#include "routetable.h"

#include <algorithm>
#include <stdexcept>

#include "zq/foundation/utf8text.h"

namespace kit {

namespace {

[[noreturn]] void refusePattern(std::wstring_view sPattern, const char* pReason) {
    throw std::invalid_argument("the route " + toUtf8(sPattern) + ' ' + pReason);
}

/// FNV-1a, of whole characters.
std::uint32_t hash(std::int32_t nParent, std::wstring_view sSegment) noexcept {
    std::uint32_t n = 2166136261U ^ static_cast<std::uint32_t>(nParent);
    for (const wchar_t c : sSegment)
        n = (n ^ static_cast<std::uint32_t>(c)) * 16777619U;
    return n ^ n >> 15;
}

/// Takes the next segment off a path, with the slash in front of it.
std::wstring_view takeSegment(std::wstring_view& rsPath) noexcept {
    rsPath.remove_prefix(1);
    const std::wstring_view sSegment = rsPath.substr(0, rsPath.find(L'/'));
    rsPath.remove_prefix(sSegment.size());
    return sSegment;
}

}  // namespace

Router::Table::Table(std::vector<Route> tRoutes) : m_tNodes(1) {
    Children tChildren;
    for (Route& rRoute : tRoutes)
        add(rRoute, tChildren);
    index(tChildren);
}

void Router::Table::add(Route& rRoute, Children& rChildren) {
    const std::wstring_view sPattern = rRoute.sPattern;
    if (!sPattern.starts_with(L'/') || !rRoute.fPage)
        refusePattern(sPattern, "has no slash first, or no page");
    Answer tAnswer{std::move(rRoute.fPage), {}};
    Index nNode = 0;
    bool bAll = false;
    for (std::wstring_view sRest = sPattern; !sRest.empty();) {
        std::wstring_view sSegment = takeSegment(sRest);
        const bool bPlaceholder = sSegment.starts_with(L'{') && sSegment.ends_with(L'}');
        if (bAll) refusePattern(sPattern, "goes on behind ...");
        if (!bPlaceholder) {
            if (sSegment.find_first_of(L"{}%") != sSegment.npos)
                refusePattern(sPattern, "has stray { } or %");
            nNode = addNode(nNode, sSegment, rChildren);
            continue;
        }
        sSegment = sSegment.substr(1, sSegment.size() - 2);
        bAll = sSegment.ends_with(L"...");
        if (bAll) sSegment.remove_suffix(3);
        if (sSegment.empty() || sSegment.find_first_of(L"{}") != sSegment.npos ||
            std::ranges::find(tAnswer.tNames, sSegment) != tAnswer.tNames.end() ||
            tAnswer.tNames.size() == RoutedRequest::s_knMostPlaceholders)
            refusePattern(sPattern, "has too many placeholders, or one without a name of its own");
        tAnswer.tNames.emplace_back(sSegment);
        if (!bAll) nNode = addNode(nNode, {}, rChildren);
    }
    Node& rNode = m_tNodes[static_cast<std::size_t>(nNode)];
    Answer& rSlot = addPages(bAll ? rNode.nAllPages : rNode.nPages)[rRoute.eMethod];
    if (rSlot.fPage) refusePattern(sPattern, "stands for the same paths as another one");
    rSlot = std::move(tAnswer);
}

/// The node behind a segment, or behind a placeholder when sSegment has no characters at all: a new one, if
/// there is none.
Router::Table::Index Router::Table::addNode(Index nParent, std::wstring_view sSegment, Children& rChildren) {
    const auto nNew = static_cast<Index>(m_tNodes.size());
    Index nNode = nNew;
    if (sSegment.data()) {
        nNode = rChildren.try_emplace({nParent, std::wstring(sSegment)}, nNew).first->second;
    } else {
        Index& rnAny = m_tNodes[static_cast<std::size_t>(nParent)].nAny;
        if (rnAny == s_knNone) rnAny = nNew;
        nNode = rnAny;
    }
    if (nNode == nNew) m_tNodes.emplace_back().sSegment = sSegment;
    return nNode;
}

Router::Table::Pages& Router::Table::addPages(Index& rnPages) {
    if (rnPages == s_knNone) {
        rnPages = static_cast<Index>(m_tPages.size());
        m_tPages.emplace_back();
    }
    return m_tPages[static_cast<std::size_t>(rnPages)];
}

void Router::Table::index(const Children& rChildren) {
    std::size_t nSize = 16;
    while (nSize < 2 * rChildren.size())
        nSize *= 2;
    m_tEntries.resize(nSize);
    for (const auto& [rKey, nChild] : rChildren) {
        const std::uint32_t nHash = hash(rKey.first, rKey.second);
        std::size_t n = nHash & (nSize - 1);
        while (m_tEntries[n].nChild != s_knNone)
            n = (n + 1) & (nSize - 1);
        m_tEntries[n] = {nHash, rKey.first, nChild};
    }
}

Router::Table::Index Router::Table::findChild(Index nParent, std::wstring_view sSegment) const noexcept {
    const std::uint32_t nHash = hash(nParent, sSegment);
    for (std::size_t n = nHash;; ++n) {
        const Entry& r = m_tEntries[n & (m_tEntries.size() - 1)];
        if (r.nChild == s_knNone) return s_knNone;
        if (r.nHash == nHash && r.nParent == nParent &&
            m_tNodes[static_cast<std::size_t>(r.nChild)].sSegment == sSegment)
            return r.nChild;
    }
}

const Router::Table::Answer* Router::Table::find(EMethod eMethod, std::wstring_view sPath,
                                                 Values& rValues) const {
    return sPath.starts_with(L'/') ? match(eMethod, 0, sPath, rValues.data()) : nullptr;
}

const Router::Table::Answer* Router::Table::choose(EMethod eMethod, Index nPages) const noexcept {
    if (nPages == s_knNone) return nullptr;
    const Answer& rAnswer = m_tPages[static_cast<std::size_t>(nPages)][eMethod];
    return rAnswer.fPage ? &rAnswer : nullptr;
}

/// Follows what is left of a path from a node on. Turns back where a better beginning leads nowhere; the
/// patterns alone, and no client, decide how often that can be.
const Router::Table::Answer* Router::Table::match(EMethod eMethod, Index nNode, std::wstring_view sRest,
                                                  std::wstring_view* pValue) const {
    const Node& rNode = m_tNodes[static_cast<std::size_t>(nNode)];
    if (sRest.empty()) return choose(eMethod, rNode.nPages);
    std::wstring_view sBehind = sRest;
    const std::wstring_view sSegment = takeSegment(sBehind);
    const Index nChild = findChild(nNode, sSegment);
    if (nChild != s_knNone)
        if (const Answer* p = match(eMethod, nChild, sBehind, pValue)) return p;
    if (rNode.nAny != s_knNone && !sSegment.empty()) {
        if (const Answer* p = match(eMethod, rNode.nAny, sBehind, pValue + 1)) {
            *pValue = sSegment;
            return p;
        }
    }
    const Answer* const pAll = choose(eMethod, rNode.nAllPages);
    if (pAll) *pValue = sRest.substr(1);
    return pAll;
}

}  // namespace kit
