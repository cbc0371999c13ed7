#include "comparison.h"

#include <time.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "http/fieldtext.h"
#include "zq/foundation/utf8text.h"
#include "zq/httpstream/httpdateutils.h"
#include "zq/memoryhost/recorded.h"

namespace webreplay {

namespace {

using webcontainer::equalsNoCase;
using ECall = Recording::ECall;

constexpr std::size_t s_knContext = 40;
constexpr std::string_view s_ksMasked = "(masked)";

/// Each byte as a character: bodies need not be text.
icu::UnicodeString widen(std::string_view s) {
    icu::UnicodeString sWide;
    for (const char c : s)
        sWide.append(static_cast<char16_t>(static_cast<unsigned char>(c)));
    return sWide;
}

icu::UnicodeString mask(const icu::UnicodeString& sLine, const icu::RegexPattern& rText) {
    constexpr std::int32_t knMostMs = 10000;  // roughly
    icu::UnicodeString sMasked;
    UErrorCode eError = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexMatcher> p(rText.matcher(sLine, eError));
    if (!p) throw std::bad_alloc();
    p->setStackLimit(0, eError);  // which is none
    p->setTimeLimit(knMostMs, eError);
    while (p->find(eError))
        p->appendReplacement(sMasked, widen(s_ksMasked), eError);
    if (U_FAILURE(eError))
        throw std::runtime_error("a line of " + std::to_string(sLine.length()) +
                                 " bytes is too much for --mask-regex");
    return p->appendTail(sMasked);
}

std::string quoted(std::string_view s) {
    return "\"" + escapeBytes(s) + "\"";
}

std::string thenAndNow(const std::string& sWhat, const std::string& sThen, const std::string& sNow) {
    return sWhat + ": " + sThen + " then, " + sNow + " now\n";
}

/// Where the first difference is and what stands around it, the byte itself above a mark.
std::string showDifference(const std::string& sWhat, const std::string& sThen, const std::string& sNow) {
    const auto [itThen, itNow] = std::ranges::mismatch(sThen, sNow);
    const auto n = static_cast<std::size_t>(itThen - sThen.begin());
    const std::size_t nFrom = n - std::min(n, s_knContext);
    const std::string sBefore = escapeBytes(sThen.substr(nFrom, n - nFrom) + ".");
    const auto fShow = [&](const char* pWhen, const std::string& s) {
        return pWhen + sBefore.substr(0, sBefore.size() - 1) + escapeBytes(s.substr(n, s_knContext)) + "\n";
    };
    return sWhat + " differs from byte " + std::to_string(n) + " on, of " + std::to_string(sThen.size()) +
           " then and " + std::to_string(sNow.size()) + " now:\n" + fShow("  then: ", sThen) +
           fShow("  now:  ", sNow) + std::string(7 + sBefore.size(), ' ') + "^\n";
}

/// How long after the request began a date is, in seconds; false: it is none.
bool readDate(const std::string& sDate, std::time_t nBegin, std::time_t& rnAfter) {
    if (!HttpDateUtils::parseHttpDate(fromUtf8(sDate).view(), rnAfter)) return false;
    rnAfter -= nBegin;
    return true;
}

std::time_t readTime(const Recording& r) {
    tm tDate{};
    return ::strptime(r.sTime.c_str(), "%Y-%m-%dT%H:%M:%S", &tDate) ? ::timegm(&tDate) : 0;
}

class Comparison {
public:
    Comparison(const Recording& rRecording, MemoryResponse&& rNow, std::time_t nBegin, const Masks& rMasks)
        : m_rRecording(rRecording),
          m_tThen(toMemoryResponse(rRecording)),
          m_tNow(std::move(rNow)),
          m_nBegin(nBegin),
          m_rMasks(rMasks) {}

    std::string run() {
        if (m_tThen.nStatus != m_tNow.nStatus || m_tThen.bError != m_tNow.bError)
            return thenAndNow("status", describeStatus(m_tThen), describeStatus(m_tNow));
        for (auto f : {&Comparison::compareHeaders, &Comparison::compareEnds, &Comparison::compareBodies,
                       &Comparison::compareLengths})
            if (std::string s = (this->*f)(); !s.empty()) return s;
        return {};
    }

private:
    static std::string describeStatus(const MemoryResponse& r) {
        if (r.nStatus == 0) return "none";
        return std::to_string(r.nStatus) + (r.bError ? " (as an error)" : "");
    }

    MemoryRequest::Fields unmasked(MemoryRequest::Fields tFields) const {
        // std::erase_if() would make clang 14 write into the program where it was built.
        const auto fMasked = [this](const MemoryRequest::Fields::value_type& rField) {
            return std::ranges::any_of(m_rMasks.tHeaders,
                                       [&](const std::string& s) { return equalsNoCase(s, rField.first); });
        };
        tFields.erase(std::remove_if(tFields.begin(), tFields.end(), fMasked), tFields.end());
        return tFields;
    }
    std::string compareHeaders() {
        const MemoryRequest::Fields tThen = unmasked(m_tThen.tHeaders), tNow = unmasked(m_tNow.tHeaders);
        const auto fName = [](const MemoryRequest::Fields& r, std::size_t n) {
            return n < r.size() ? r[n].first : std::string("no field");
        };
        for (std::size_t n = 0; n < std::max(tThen.size(), tNow.size()); ++n) {
            const std::string sThen = fName(tThen, n), sNow = fName(tNow, n);
            if (sThen != sNow) return thenAndNow("header field " + std::to_string(n + 1), sThen, sNow);
            if (!isSameValue(sThen, tThen[n].second, tNow[n].second))
                return showDifference("header field " + sThen, m_rMasks.apply(tThen[n].second),
                                      m_rMasks.apply(tNow[n].second));
        }
        return {};
    }
    bool isSameValue(const std::string& sName, const std::string& sThen, const std::string& sNow) const {
        if (sThen == Recording::s_ksRedacted || m_rMasks.apply(sThen) == m_rMasks.apply(sNow)) return true;
        std::time_t nThen = 0, nNow = 0;
        const bool bMoves = equalsNoCase(sName, "Expires") || equalsNoCase(sName, "Last-Modified");
        if (!bMoves || !readDate(sThen, readTime(m_rRecording), nThen) || !readDate(sNow, m_nBegin, nNow))
            return false;
        // Both times are rounded, and a response may be long in the making, then and now.
        const std::time_t nLongThen = m_rRecording.nTotalUs / 1000000,
                          nLongNow = std::time(nullptr) - m_nBegin;
        return std::abs(nThen - nNow) <= 2 + std::max(nLongThen, nLongNow);
    }

    std::string compareEnds() {
        const bool bReadFailed = std::ranges::any_of(
            m_rRecording.tEvents, [](const auto& r) { return r.eCall == ECall::kBodyFailed; });
        const auto fException = [&](const MemoryResponse& r) {
            if (r.sException.empty()) return std::string("none");
            // A client that vanishes in memory has words of its own.
            return bReadFailed ? std::string("some") : quoted(m_rMasks.apply(r.sException));
        };
        if (fException(m_tThen) != fException(m_tNow))
            return thenAndNow("exception", fException(m_tThen), fException(m_tNow));
        if (m_tThen.bEnded == m_tNow.bEnded) return {};
        return thenAndNow("response", m_tThen.bEnded ? "ended" : "left open",
                          m_tNow.bEnded ? "ended" : "left open");
    }

    std::string compareBodies() {
        std::size_t nThen = 0;
        bool bOmitted = false;
        for (const Recording::Event& r : m_rRecording.tEvents) {
            if ((r.eCall != ECall::kWrite && r.eCall != ECall::kEnd) || r.nResult != 0) continue;
            nThen += r.nNumber;
            bOmitted = bOmitted || r.bOmitted;
        }
        if (bOmitted && nThen != m_tNow.sBody.size())
            return thenAndNow("length of the body", std::to_string(nThen),
                              std::to_string(m_tNow.sBody.size()));
        if (bOmitted) m_tNow.sBody.resize(std::min(m_tNow.sBody.size(), m_tThen.sBody.size()));
        const std::string sThen = m_rMasks.apply(m_tThen.sBody), sNow = m_rMasks.apply(m_tNow.sBody);
        return sThen == sNow ? std::string() : showDifference("body", sThen, sNow);
    }

    std::string compareLengths() {
        const auto fLength = [](const MemoryResponse& r) {
            return r.nContentLength ? std::to_string(*r.nContentLength) : std::string("none");
        };
        // Which follows from the body, where that may differ.
        const bool bMasked = m_tThen.sBody != m_tNow.sBody && m_tThen.nContentLength && m_tNow.nContentLength;
        if (bMasked || m_tThen.nContentLength == m_tNow.nContentLength) return {};
        return thenAndNow("announced length", fLength(m_tThen), fLength(m_tNow));
    }

    const Recording& m_rRecording;
    const MemoryResponse m_tThen;
    MemoryResponse m_tNow;
    const std::time_t m_nBegin;  ///< of the run that this is of
    const Masks& m_rMasks;
};

}  // namespace

void Masks::addText(const std::string& sRegex) {
    UParseError tPlace;
    UErrorCode eError = U_ZERO_ERROR;
    // Else a dot would stop at the byte 0x85 too, which for ICU is the end of a line.
    const std::unique_ptr<icu::RegexPattern> p(
        icu::RegexPattern::compile(widen(sRegex), UREGEX_UNIX_LINES, tPlace, eError));
    if (U_FAILURE(eError)) throw std::invalid_argument(u_errorName(eError));
    tTexts.push_back(*p);
}

std::string Masks::apply(const std::string& sText) const {
    if (tTexts.empty()) return sText;
    std::string sMasked;
    for (std::size_t n = 0; n < sText.size();) {
        const std::size_t nEnd = std::min(sText.find('\n', n), sText.size() - 1) + 1;
        icu::UnicodeString sLine = widen(std::string_view(sText).substr(n, nEnd - n));
        for (const icu::RegexPattern& r : tTexts)
            sLine = mask(sLine, r);
        for (std::int32_t nChar = 0; nChar < sLine.length(); ++nChar)
            sMasked += static_cast<char>(sLine[nChar]);
        n = nEnd;
    }
    return sMasked;
}

std::string compare(const Recording& rRecording, MemoryResponse tNow, std::time_t nBegin,
                    const Masks& rMasks) {
    return Comparison(rRecording, std::move(tNow), nBegin, rMasks).run();
}

}  // namespace webreplay
