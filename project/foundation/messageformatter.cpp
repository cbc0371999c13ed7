#include "zq/foundation/messageformatter.h"

#include <map>

#include "zq/foundation/nocasecompareless.h"

namespace {

void appendBytes(WideStringBufferBase& rBuffer, const GDValue& rValue) {
    if (rValue.getKind() != GDValue::EKind::kUnsigned) return rValue.appendTo(rBuffer);
    constexpr const wchar_t* kpUnits[] = {L" bytes", L" KiB", L" MiB", L" GiB", L" TiB"};
    std::uint64_t n = rValue.getUnsigned();
    std::size_t nUnit = 0;
    for (; n >= 1024 && n % 1024 == 0 && nUnit + 1 < std::size(kpUnits); ++nUnit)
        n /= 1024;
    appendDecimal(rBuffer, n);
    rBuffer.append(std::wstring_view(kpUnits[nUnit]));
}

struct Tags {
    bool m_bOpen = true;
    std::map<ZQWString, MessageFormatterTagRegistrar::Formatter, NoCaseCompareLess> m_tTable{
        {ZQWString(L"bytes"), &appendBytes}};
};

/// Never destroyed: exceptions show their messages until the process ends.
Tags& tags() {
    static auto* const s_pTags = new Tags;
    return *s_pTags;
}

bool isInsertDigit(wchar_t c) noexcept {
    return c >= L'1' && c <= L'9';
}

/// What follows a percent sign: which insert, shown how, and how long its name is. nLength 0: no insert.
struct Insert {
    std::size_t nLength = 0;
    std::size_t nIndex = 0;
    std::wstring_view sTag;
};

Insert parseInsert(std::wstring_view s) noexcept {
    if (!s.empty() && isInsertDigit(s[0])) return {1, static_cast<std::size_t>(s[0] - L'1'), {}};
    const std::size_t nClose = s.find(L'}');
    if (s.empty() || s[0] != L'{' || nClose == s.npos || nClose < 3) return {};
    if (s[nClose - 2] != L':' || !isInsertDigit(s[nClose - 1])) return {};
    return {nClose + 1, static_cast<std::size_t>(s[nClose - 1] - L'1'), s.substr(1, nClose - 3)};
}

}  // namespace

void formatMessage(WideStringBufferBase& rBuffer, std::wstring_view sMessage,
                   std::span<const GDValue> tInserts) {
    while (!sMessage.empty()) {
        const std::size_t nPercent = std::min(sMessage.find(L'%'), sMessage.size());
        rBuffer.append(sMessage.substr(0, nPercent));
        sMessage.remove_prefix(nPercent);
        if (sMessage.empty()) return;
        const Insert tInsert = parseInsert(sMessage.substr(1));
        if (sMessage.starts_with(L"%%")) {
            rBuffer.append(L'%');
            sMessage.remove_prefix(2);
        } else if (tInsert.nLength == 0 || tInsert.nIndex >= tInserts.size()) {
            rBuffer.append(L'%');
            sMessage.remove_prefix(1);
        } else {
            const auto pFormatter = MessageFormatterTagRegistrar::find(tInsert.sTag);
            const GDValue& rValue = tInserts[tInsert.nIndex];
            if (pFormatter)
                pFormatter(rBuffer, rValue);
            else
                rValue.appendTo(rBuffer);
            sMessage.remove_prefix(1 + tInsert.nLength);
        }
    }
}

bool MessageFormatterTagRegistrar::registerTag(const ZQWString& sTag, Formatter pFormatter) {
    if (!tags().m_bOpen) return false;
    tags().m_tTable.insert_or_assign(sTag, pFormatter);
    return true;
}

void MessageFormatterTagRegistrar::endRegistrationPeriod() noexcept {
    tags().m_bOpen = false;
}

MessageFormatterTagRegistrar::Formatter MessageFormatterTagRegistrar::find(std::wstring_view sTag) noexcept {
    const auto it = tags().m_tTable.find(sTag);
    return it == tags().m_tTable.end() ? nullptr : it->second;
}
