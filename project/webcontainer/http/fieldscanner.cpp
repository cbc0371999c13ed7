#include "http/fieldscanner.h"

#include "http/byteclass.h"

namespace webcontainer {

EParsed FieldScanner::scan(const char*& p, const char* pEnd) noexcept {
    EParsed eParsed = EParsed::kNeedMore;
    while (p != pEnd && eParsed == EParsed::kNeedMore)
        eParsed = step(p, pEnd);
    return eParsed;
}

EParsed FieldScanner::step(const char*& p, const char* pEnd) noexcept {
    switch (m_eState) {
        case EState::kFirstLine:
        case EState::kLine:
            return beginLine(p);
        case EState::kName:
            return scanName(p, pEnd);
        case EState::kValue:
            return scanValue(p, pEnd);
        case EState::kLineEnd:
            if (*p++ != '\n') return refuse(s_tBadLineEnd);
            m_eState = EState::kLine;
            return EParsed::kNeedMore;
        default:
            return *p++ == '\n' ? EParsed::kDone : refuse(s_tBadLineEnd);
    }
}

EParsed FieldScanner::beginLine(const char*& p) noexcept {
    const bool bFirst = m_eState == EState::kFirstLine;
    if (*p == '\r') {
        m_eState = EState::kEnd;
        ++p;
        return EParsed::kNeedMore;
    }
    if (*p == ' ' || *p == '\t')
        return refuse({400, bFirst ? "white space before the first header field"
                                   : "a header field folded over several lines"});
    if (!isOf(kTokenByte, *p)) return refuse({400, "a malformed header field name"});
    if (m_nFieldsLeft-- == 0) return refuse({431, "too many header fields"});
    m_eState = EState::kName;
    return EParsed::kNeedMore;
}

EParsed FieldScanner::scanName(const char*& p, const char* pEnd) noexcept {
    p = skipBytes(kTokenByte, p, pEnd);
    if (p == pEnd) return EParsed::kNeedMore;
    if (*p == ' ' || *p == '\t') return refuse({400, "white space before a colon"});
    if (*p != ':') return refuse({400, "a malformed header field name"});
    ++p;
    m_eState = EState::kValue;
    return EParsed::kNeedMore;
}

EParsed FieldScanner::scanValue(const char*& p, const char* pEnd) noexcept {
    p = skipBytes(kValueByte, p, pEnd);
    if (p == pEnd) return EParsed::kNeedMore;
    if (*p != '\r') return refuse({400, "a malformed header field value"});
    ++p;
    m_eState = EState::kLineEnd;
    return EParsed::kNeedMore;
}

EParsed FieldScanner::refuse(const Refusal& rRefusal) noexcept {
    m_tRefusal = rRefusal;
    return EParsed::kRefused;
}

}  // namespace webcontainer
