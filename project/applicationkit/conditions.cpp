#include "conditions.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "zq/foundation/nocasecompareless.h"
#include "zq/httpstream/httpdateutils.h"

namespace kit {

namespace {

constexpr std::wstring_view s_ksSpace = L" \t";
constexpr std::wstring_view s_ksDigits = L"0123456789";

std::wstring_view trim(std::wstring_view s) noexcept {
    const std::size_t nFirst = s.find_first_not_of(s_ksSpace);
    return nFirst == s.npos ? std::wstring_view()
                            : s.substr(nFirst, s.find_last_not_of(s_ksSpace) + 1 - nFirst);
}

/// All fields of a name as the one list that they stand for (RFC 9110 section 5.3); nothing when there is
/// none.
std::optional<std::wstring> readList(ZQHttpStream& rStream, const wchar_t* pName) {
    tl::vector<ZQWString> tFields;
    if (!rStream.getRequestHeaders(pName, tFields)) return std::nullopt;
    std::wstring sList;
    for (const ZQWString& sField : tFields)
        sList.append(sList.empty() ? L"" : L",").append(sField);
    return sList;
}

/// Takes the next element off a list whose elements have no commas in them.
std::wstring_view takeElement(std::wstring_view& rsList) noexcept {
    const std::wstring_view sElement = rsList.substr(0, rsList.find(L','));
    rsList.remove_prefix(std::min(sElement.size() + 1, rsList.size()));
    return trim(sElement);
}

/// Whether a list of entity tags has the file's; bStrong: by strong comparison (RFC 9110 section 8.8.3.2).
bool hasTag(std::wstring_view sList, const Validators& r, bool bStrong) {
    if (trim(sList) == L"*") return true;
    for (;;) {
        sList.remove_prefix(std::min(sList.find_first_not_of(L", \t"), sList.size()));
        const bool bWeak = sList.starts_with(L"W/");
        if (bWeak) sList.remove_prefix(2);
        const std::size_t nEnd = sList.find(L'"', 1);
        if (!sList.starts_with(L'"') || nEnd == sList.npos) return false;
        if (sList.substr(0, nEnd + 1) == r.sTag && !(bStrong && (bWeak || !r.bStrong))) return true;
        sList.remove_prefix(nEnd + 1);
    }
}

std::optional<std::time_t> readDate(ZQHttpStream& rStream, const wchar_t* pName) {
    ZQWString sDate;
    std::time_t nTime = 0;
    if (!rStream.getRequestHeader(pName, sDate) || !HttpDateUtils::parseHttpDate(sDate, nTime))
        return std::nullopt;
    return nTime;
}

/// Whether a range is wanted of this state of the file, and not of another one.
bool isRangeOfThis(ZQHttpStream& rStream, const Validators& r) {
    ZQWString sIfRange;
    if (!rStream.getRequestHeader(L"If-Range", sIfRange)) return true;
    if (const std::optional<std::time_t> nDate = readDate(rStream, L"If-Range"))
        return r.bStrong && *nDate == r.nModified;
    return trim(sIfRange) != L"*" && hasTag(sIfRange, r, true);
}

/// The number that digits stand for, or the largest one where they stand for more. False: these are none.
bool parsePosition(std::wstring_view s, std::uint64_t& rn) noexcept {
    if (s.empty() || s.find_first_not_of(s_ksDigits) != s.npos) return false;
    rn = 0;
    for (const wchar_t c : s)
        if (__builtin_mul_overflow(rn, 10U, &rn) ||
            __builtin_add_overflow(rn, static_cast<unsigned>(c - L'0'), &rn)) {
            rn = std::numeric_limits<std::uint64_t>::max();
            break;
        }
    return true;
}

/// One range-spec (RFC 9110 section 14.1.2) of a file of nSize bytes. False: it is none.
bool parseRange(std::wstring_view sSpec, std::uint64_t nSize, WantedRange& r) noexcept {
    const std::size_t nDash = sSpec.find(L'-');
    if (nDash == sSpec.npos) return false;
    const std::wstring_view sFirst = sSpec.substr(0, nDash), sLast = sSpec.substr(nDash + 1);
    std::uint64_t nLast = std::numeric_limits<std::uint64_t>::max();
    if (sFirst.empty()) {
        if (!parsePosition(sLast, r.nCount)) return false;
        if (nSize == 0 && r.nCount != 0) return false;  // the end of nothing is satisfied by all of it
        r.nCount = std::min(r.nCount, nSize);
        r.nFirst = nSize - r.nCount;
    } else {
        if (!parsePosition(sFirst, r.nFirst) || (!sLast.empty() && !parsePosition(sLast, nLast)))
            return false;
        if (nLast < r.nFirst) return false;
        r.nCount = r.nFirst < nSize ? std::min(nLast, nSize - 1) - r.nFirst + 1 : 0;
    }
    r.eKind = r.nCount == 0 ? WantedRange::kUnsatisfiable : WantedRange::kPart;
    return true;
}

/// A qvalue (RFC 9110 section 12.4.2) in thousandths; 0 for anything else.
int parseWeight(std::wstring_view s) noexcept {
    if (s.empty() || s.size() > 5 || (s[0] != L'0' && s[0] != L'1') || (s.size() > 1 && s[1] != L'.'))
        return 0;
    int nWeight = s[0] - L'0';
    for (std::size_t n = 2; n < 5; ++n) {
        const wchar_t c = n < s.size() ? s[n] : L'0';
        if (s_ksDigits.find(c) == s_ksDigits.npos) return 0;
        nWeight = nWeight * 10 + (c - L'0');
    }
    return nWeight > 1000 ? 0 : nWeight;
}

/// The weight that an element of Accept-Encoding has behind its coding.
int readWeight(std::wstring_view sParameters) noexcept {
    if (sParameters.empty()) return 1000;
    const std::wstring_view sWeight = trim(sParameters.substr(1));
    return startsWithNoCase(sWeight, L"q=") ? parseWeight(sWeight.substr(2)) : 0;
}

}  // namespace

EPrecondition evaluateConditions(ZQHttpStream& rStream, const Validators& r) {
    if (const auto sTags = readList(rStream, L"If-Match")) {
        if (!hasTag(*sTags, r, true)) return EPrecondition::kFailed;
    } else if (const auto nDate = readDate(rStream, L"If-Unmodified-Since"); nDate && r.nModified > *nDate) {
        return EPrecondition::kFailed;
    }
    if (const auto sTags = readList(rStream, L"If-None-Match"))
        return hasTag(*sTags, r, false) ? EPrecondition::kNotModified : EPrecondition::kHolds;
    const auto nDate = readDate(rStream, L"If-Modified-Since");
    return nDate && r.bStrong && r.nModified <= *nDate ? EPrecondition::kNotModified : EPrecondition::kHolds;
}

WantedRange readRange(ZQHttpStream& rStream, const Validators& rValidators, std::uint64_t nSize) {
    constexpr std::wstring_view ksUnit = L"bytes=";
    WantedRange tRange;
    tl::vector<ZQWString> tFields;
    rStream.getRequestHeaders(L"Range", tFields);
    if (tFields.size() != 1 || !startsWithNoCase(tFields[0], ksUnit) || !isRangeOfThis(rStream, rValidators))
        return {};
    int nRanges = 0;
    for (std::wstring_view sSet = tFields[0].view().substr(ksUnit.size()); !sSet.empty();) {
        const std::wstring_view sSpec = takeElement(sSet);
        if (sSpec.empty()) continue;
        if (!parseRange(sSpec, nSize, tRange)) return {};
        ++nRanges;
    }
    if (nRanges > 1) tRange.eKind = WantedRange::kUnsatisfiable;
    return tRange;
}

CodingWeights readAcceptEncoding(ZQHttpStream& rStream) {
    const std::wstring sList = readList(rStream, L"Accept-Encoding").value_or(L"");
    std::optional<int> nBrotli, nGzip, nOther, nIdentity;
    for (std::wstring_view sRest = sList; !sRest.empty();) {
        const std::wstring_view sElement = takeElement(sRest);
        const std::size_t nEnd = std::min(sElement.find(L';'), sElement.size());
        const std::wstring_view sCoding = trim(sElement.substr(0, nEnd));
        const int nWeight = readWeight(sElement.substr(nEnd));
        if (equalNoCase(sCoding, L"br")) nBrotli = nWeight;
        if (equalNoCase(sCoding, L"gzip") || equalNoCase(sCoding, L"x-gzip")) nGzip = nWeight;
        if (equalNoCase(sCoding, L"identity")) nIdentity = nWeight;
        if (sCoding == L"*") nOther = nWeight;
    }
    const auto fWeigh = [&](std::optional<int> n) {
        const int nWeight = n ? *n : nOther.value_or(0);
        return nWeight >= nIdentity.value_or(0) ? nWeight : 0;
    };
    return {fWeigh(nBrotli), fWeigh(nGzip)};
}

}  // namespace kit
