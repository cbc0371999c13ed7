#include "requests/forwardedfields.h"

#include <algorithm>

#include "http/fieldtext.h"

namespace webcontainer {

namespace {

template <class F>
void forEachField(const RequestInput& rInput, std::string_view sName, F f) {
    for (const HeaderField& r : rInput.getHead().tFields)
        if (equalsNoCase(rInput.text(r.tName), sName)) f(rInput.text(r.tValue));
}

/// Cuts a text off up to the first of the stops, which quoted strings hide; the stop itself goes too.
std::string_view cut(std::string_view& rsRest, char cStop) {
    bool bQuoted = false;
    std::size_t n = 0;
    for (; n < rsRest.size() && (bQuoted || rsRest[n] != cStop); ++n)
        if (rsRest[n] == '"') bQuoted = !bQuoted;
    const std::string_view s = trim(rsRest.substr(0, n));
    rsRest.remove_prefix(std::min(n + 1, rsRest.size()));
    return s;
}

/// A token or a quoted string; no address, scheme or host needs a backslash in one. Empty: it is neither.
std::string_view unquote(std::string_view s) {
    if (s.size() >= 2 && s.front() == '"' && s.back() == '"') {
        s = s.substr(1, s.size() - 2);
        return s.find_first_of("\"\\") == std::string_view::npos ? s : std::string_view();
    }
    return s.find_first_of("\"\\[]:@/,= \t") == std::string_view::npos ? s : std::string_view();
}

/// One forwarded-element (RFC 7239 section 4). False: it is malformed.
bool readElement(std::string_view sElement, ForwardedHop& rHop) {
    while (!sElement.empty()) {
        const std::string_view sPair = cut(sElement, ';');
        if (sPair.empty()) continue;
        const std::size_t nEquals = std::min(sPair.find('='), sPair.size() - 1);
        const std::string_view sName = sPair.substr(0, nEquals);
        const std::string_view sValue = unquote(sPair.substr(nEquals + 1));
        if (sName.empty() || sValue.empty()) return false;
        std::string_view* const pValue = equalsNoCase(sName, "for")     ? &rHop.sFor
                                         : equalsNoCase(sName, "proto") ? &rHop.sProto
                                         : equalsNoCase(sName, "host")  ? &rHop.sHost
                                                                        : nullptr;
        if (!pValue) continue;
        if (!pValue->empty()) return false;
        *pValue = sValue;
    }
    return true;
}

std::string_view lastElement(const RequestInput& rInput, std::string_view sName) {
    std::string_view sLast;
    forEachField(rInput, sName, [&](std::string_view s) { sLast = trim(s.substr(s.rfind(',') + 1)); });
    return sLast;
}

}  // namespace

std::vector<ForwardedHop> readForwardedHops(const RequestInput& rInput) {
    std::vector<ForwardedHop> tHops;
    forEachField(rInput, "Forwarded", [&](std::string_view sRest) {
        while (!sRest.empty())
            if (ForwardedHop tHop; !readElement(cut(sRest, ','), tHop))
                tHops.push_back({});
            else
                tHops.push_back(tHop);
    });
    if (!tHops.empty()) return tHops;
    const std::string_view sProto = lastElement(rInput, "X-Forwarded-Proto");
    const std::string_view sHost = lastElement(rInput, "X-Forwarded-Host");
    forEachField(rInput, "X-Forwarded-For", [&](std::string_view sRest) {
        while (!sRest.empty())
            tHops.push_back({cut(sRest, ','), sProto, sHost});
    });
    return tHops;
}

}  // namespace webcontainer
