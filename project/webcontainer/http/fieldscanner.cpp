#include "http/fieldscanner.h"

#include "http/byteclass.h"
#include "http/fieldtext.h"

namespace webcontainer {

namespace {

/// The length and the first letter tell nearly all other names apart.
EKnownField classify(std::string_view sName) noexcept {
    const auto either = [sName](std::string_view s, EKnownField e) {
        return (sName[0] | 0x20) == s[0] && equalsNoCase(sName, s) ? e : EKnownField::kOther;
    };
    switch (sName.size()) {
        case 4:
            return either("host", EKnownField::kHost);
        case 6:
            return either("expect", EKnownField::kExpect);
        case 10:
            return either("connection", EKnownField::kConnection);
        case 12:
            return either("content-type", EKnownField::kContentType);
        case 14:
            return either("content-length", EKnownField::kContentLength);
        case 16:
            return either("proxy-connection", EKnownField::kProxyConnection);
        case 17:
            return either("transfer-encoding", EKnownField::kTransferEncoding);
        default:
            return EKnownField::kOther;
    }
}

}  // namespace

Parsed FieldScanner::scan(const char*& p, const char* pEnd, const char* pBegin,
                          std::vector<HeaderField>* pFields) {
    while (p != pEnd) {
        const bool bField = m_eState == EState::kLineEnd;
        if (const Parsed tParsed = step(p, pEnd); tParsed != Parsed::kNeedMore) return tParsed;
        if (bField && pFields) pFields->push_back(readLine(pBegin, p - 2));
    }
    return Parsed::kNeedMore;
}

Parsed FieldScanner::step(const char*& p, const char* pEnd) noexcept {
    switch (m_eState) {
        case EState::kFirstLine:
        case EState::kLine:
            return beginLine(p);
        case EState::kName:
            return scanName(p, pEnd);
        case EState::kValue:
            return scanValue(p, pEnd);
        case EState::kLineEnd:
            if (*p++ != '\n') return s_tBadLineEnd;
            m_eState = EState::kLine;
            return Parsed::kNeedMore;
        default:
            if (*p++ != '\n') return s_tBadLineEnd;
            return Parsed::kDone;
    }
}

Parsed FieldScanner::beginLine(const char*& p) noexcept {
    const bool bFirst = m_eState == EState::kFirstLine;
    if (*p == '\r') {
        m_eState = EState::kEnd;
        ++p;
        return Parsed::kNeedMore;
    }
    if (*p == ' ' || *p == '\t')
        return Refusal{400, bFirst ? "white space before the first header field"
                                   : "a header field folded over several lines"};
    if (!isOf(kTokenByte, *p)) return Refusal{400, "a malformed header field name"};
    if (m_nFieldsLeft-- == 0) return Refusal{431, "too many header fields"};
    m_nName = m_nValue = 0;
    m_eState = EState::kName;
    return Parsed::kNeedMore;
}

Parsed FieldScanner::scanName(const char*& p, const char* pEnd) noexcept {
    const char* const pFrom = p;
    p = skipBytes(kTokenByte, p, pEnd);
    m_nName += static_cast<std::size_t>(p - pFrom);
    if (p == pEnd) return Parsed::kNeedMore;
    if (*p == ' ' || *p == '\t') return Refusal{400, "white space before a colon"};
    if (*p != ':') return Refusal{400, "a malformed header field name"};
    ++p;
    m_eState = EState::kValue;
    return Parsed::kNeedMore;
}

Parsed FieldScanner::scanValue(const char*& p, const char* pEnd) noexcept {
    const char* const pFrom = p;
    p = skipValueBytes(p, pEnd);
    m_nValue += static_cast<std::size_t>(p - pFrom);
    if (p == pEnd) return Parsed::kNeedMore;
    if (*p != '\r') return Refusal{400, "a malformed header field value"};
    ++p;
    m_eState = EState::kLineEnd;
    return Parsed::kNeedMore;
}

/// The field whose line, all of which has come, ends at pLineEnd.
HeaderField FieldScanner::readLine(const char* pBegin, const char* pLineEnd) const noexcept {
    const auto stretch = [pBegin](std::string_view s) {
        return Stretch{static_cast<std::uint32_t>(s.data() - pBegin), static_cast<std::uint32_t>(s.size())};
    };
    const std::string_view sName(pLineEnd - m_nValue - 1 - m_nName, m_nName);
    return {stretch(sName), stretch(trim({pLineEnd - m_nValue, m_nValue})), classify(sName)};
}

}  // namespace webcontainer
