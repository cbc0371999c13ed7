#include "multipartheaders.h"

#include "asciitext.h"
#include "zq/foundation/stringbuffer.h"

namespace {

/// Takes the first field off the block: a line, and the lines after it that begin with white space
/// (RFC 5322 section 2.2.3).
std::string_view takeField(std::string_view& rsBlock) noexcept {
    std::size_t nEnd = 0;
    do
        nEnd = std::min(rsBlock.find('\n', nEnd), rsBlock.size() - 1) + 1;
    while (nEnd < rsBlock.size() && (rsBlock[nEnd] == ' ' || rsBlock[nEnd] == '\t'));
    const std::string_view sField = rsBlock.substr(0, nEnd);
    rsBlock.remove_prefix(nEnd);
    return sField;
}

/// Callers of the reader look these two up by exactly these names.
ZQNarrowString canonicalName(std::string_view sName) {
    for (const std::string_view sKnown : {"Content-Disposition", "Content-Type"})
        if (equalAsciiNoCase(sName, sKnown)) return ZQNarrowString(sKnown);
    return ZQNarrowString(sName);
}

/// Joins folded lines: the white space that the next line begins with stays.
ZQNarrowString unfold(std::string_view sValue) {
    if (sValue.find('\n') == sValue.npos) return ZQNarrowString(sValue);
    NarrowStringBuffer tValue;
    while (!sValue.empty()) {
        const std::size_t nLineFeed = std::min(sValue.find('\n'), sValue.size());
        const bool bCarriageReturn =
            nLineFeed < sValue.size() && nLineFeed > 0 && sValue[nLineFeed - 1] == '\r';
        tValue.append(sValue.substr(0, nLineFeed - bCarriageReturn));
        sValue.remove_prefix(std::min(nLineFeed + 1, sValue.size()));
    }
    return tValue.toString();
}

}  // namespace

bool parsePartHeaders(std::string_view sBlock, std::size_t nMost, HeadersN& rHeaders) {
    for (std::size_t nCount = 0; !sBlock.empty();) {
        const std::string_view sField = takeField(sBlock);
        const std::size_t nColon = sField.find(':');
        if (nColon == sField.npos) continue;
        if (++nCount > nMost) return false;
        rHeaders.try_emplace(canonicalName(trimWhiteSpace(sField.substr(0, nColon))),
                             unfold(trimWhiteSpace(sField.substr(nColon + 1))));
    }
    return true;
}
