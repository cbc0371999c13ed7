#include <algorithm>
#include <charconv>
#include <limits>
#include <tuple>

#include "recordingtext.h"

namespace {

/// In one recording, where bytes were omitted: as many as can be run again in a machine's memory.
constexpr std::size_t s_knMostCalls = 100'000'000;

/// Takes what stands before the next space, and that space, off the text.
std::string_view takeWord(std::string_view& rs) {
    const std::size_t nEnd = std::min(rs.find(' '), rs.size());
    const std::string_view sWord = rs.substr(0, nEnd);
    rs.remove_prefix(std::min(nEnd + 1, rs.size()));
    return sWord;
}

class Reader {
public:
    Reader(std::string_view sText, bool bEdited) : m_sText(sText), m_bEdited(bEdited) {}

    Recording read() {
        if (nextLine() != s_ksFirstLine) fail("this is no recording of the version that is known here");
        while (m_eEnd != EEnd::kChecked)
            readLine(nextLine());
        return std::move(m_t);
    }

private:
    using Event = Recording::Event;
    enum class EEnd { kOpen, kSaid, kChecked };

    [[noreturn]] void fail(const std::string& sWhat) const {
        throw Recording::Unreadable("line " + std::to_string(m_nLine) + ": " + sWhat);
    }
    void require(bool b, const char* pWhat) const {
        if (!b) fail(pWhat);
    }

    std::string_view nextLine() {
        ++m_nLine;
        const std::size_t nEnd = m_sLeft.find('\n');
        if (nEnd == m_sLeft.npos) fail("the file is torn: its end is missing");
        const std::string_view sLine = m_sLeft.substr(0, nEnd);
        m_sLeft.remove_prefix(nEnd + 1);
        return sLine;
    }

    void readLine(std::string_view sLine) {
        if (sLine.empty() || sLine.starts_with('#')) return;
        if (sLine.starts_with(s_ksText) || sLine.starts_with(s_ksBase64)) return readContent(sLine);
        checkContent();
        if (sLine.starts_with(s_ksChecksum)) return readChecksum(sLine.substr(s_ksChecksum.size()));
        require(m_eEnd == EEnd::kOpen, "only the checksum can follow what was sent");
        if (sLine.starts_with('+')) return readEvent(sLine.substr(1));
        const std::string_view sWord = takeWord(sLine);
        if (sWord == "time")
            m_t.sTime = text(sLine);
        else if (sWord == "id")
            m_t.sId = text(sLine);
        else if (sWord == "client")
            m_t.sClient = text(sLine);
        else if (sWord == "request")
            readRequest(sLine);
        else if (sWord == "seen")
            m_t.sSeenMethod = text(sLine);
        else if (sWord == "header")
            m_t.tHeaders.push_back(field(sLine));
        else if (sWord == "variable")
            m_t.tVariables.push_back(field(sLine));
        else if (sWord == "length")
            readLength(sLine);
        else if (sWord == "raw")
            expectContent(m_t.sRaw, number(sLine));
        else if (sWord == "refused")
            readRefused(sLine);
        else
            fail("there is no line that begins with \"" + std::string(sWord) + "\"");
    }

    void readRequest(std::string_view s) {
        m_t.sMethod = m_t.sSeenMethod = text(takeWord(s));
        m_t.sTarget = text(takeWord(s));
        m_t.sVersion = text(s);
        m_bRequest = true;
    }
    void readLength(std::string_view s) {
        m_t.nLength.reset();
        if (s != s_ksNoLength) m_t.nLength = number(s);
    }
    void readRefused(std::string_view s) {
        Recording tAllowed;
        tAllowed.sTime = m_t.sTime;
        tAllowed.sId = m_t.sId;
        tAllowed.sClient = m_t.sClient;
        tAllowed.sRaw = m_t.sRaw;
        require(m_t == tAllowed, "of a request that was refused there are only its bytes");
        m_t.tRefusal = {status(takeWord(s)), text(s)};
        m_eEnd = EEnd::kSaid;
    }

    void readEvent(std::string_view s) {
        require(m_bRequest, "there is no request line before the calls");
        constexpr std::size_t knLatest = std::numeric_limits<std::int64_t>::max();
        Event tEvent{.eCall = Recording::ECall::kBody,
                     .nAtUs = static_cast<std::int64_t>(number(takeWord(s), knLatest))};
        const std::string_view sWord = takeWord(s);
        if (sWord == "sent") return readSent(tEvent.nAtUs, s);
        const auto it = std::ranges::find(s_tCallForms, sWord, &CallForm::sWord);
        if (it == s_tCallForms.end()) fail("there is no call \"" + std::string(sWord) + "\"");
        tEvent.eCall = static_cast<Recording::ECall>(it - s_tCallForms.begin());
        if (it->bNumber) tEvent.nNumber = number(takeWord(s));
        if (it->bResult) tEvent.nResult = result(takeWord(s));
        if (it->bField) std::tie(tEvent.sName, tEvent.sBytes) = field(std::exchange(s, {}));
        if (it->bMessage) tEvent.sBytes = text(std::exchange(s, {}));
        if (it->bContent && !s.empty()) {
            tEvent.bOmitted = takeWord(s) == s_ksOmitted;
            require(tEvent.bOmitted, "only that they were omitted can be said of a call's bytes");
            if (!s.empty()) tEvent.nCalls = number(std::exchange(s, {}));
            require(tEvent.nCalls <= m_nCallsLeft, "there are more than 100,000,000 calls");
            m_nCallsLeft -= tEvent.nCalls;
        }
        require(s.empty(), "the line says more than the call can have");
        Event& r = m_t.tEvents.emplace_back(std::move(tEvent));
        m_bCountsEvent = it->bContent && !r.bOmitted;
        if (m_bCountsEvent) expectContent(r.sBytes, r.nNumber);
    }
    void readSent(std::int64_t nAtUs, std::string_view s) {
        m_t.nTotalUs = nAtUs;
        m_t.nStatus = status(takeWord(s));
        require(m_t.sRaw.empty(), "a request that ran has no bytes of its own here");
        require(s == s_ksWhole || s == s_ksCut, "a response is whole or cut");
        m_t.bWhole = s == s_ksWhole;
        m_eEnd = EEnd::kSaid;
    }

    /// The lines that follow are bytes of rsBytes, and nSize of them all together.
    void expectContent(std::string& rsBytes, std::size_t nSize) {
        m_pContent = &rsBytes;
        m_nContent = nSize;
    }
    void readContent(std::string_view s) {
        require(m_pContent, "there is nothing that these bytes could belong to");
        const bool bText = s.starts_with(s_ksText);
        s.remove_prefix(s_ksText.size());
        if (bText)
            require(unescapeBytes(s, *m_pContent), "there is no such escape");
        else
            require(decodeBase64(s, *m_pContent), "this is no base64");
    }
    void checkContent() {
        if (!m_pContent) return;
        if (m_pContent->size() != m_nContent && !m_bEdited)
            fail(std::to_string(m_pContent->size()) + " bytes end here, and their first line says " +
                 std::to_string(m_nContent));
        if (std::exchange(m_bCountsEvent, false)) m_t.tEvents.back().nNumber = m_pContent->size();
        m_pContent = nullptr;
    }

    void readChecksum(std::string_view s) {
        require(m_eEnd == EEnd::kSaid, "what was sent is missing");
        require(m_sLeft.empty(), "something follows the checksum");
        const std::string_view sBefore =
            m_sText.substr(0, m_sText.size() - m_sLeft.size() - s_ksChecksum.size() - s.size() - 1);
        if (s != checksumText(sBefore) && !m_bEdited)
            fail("the checksum is another one: the file was changed or damaged");
        m_eEnd = EEnd::kChecked;
    }

    std::string text(std::string_view s) const {
        std::string sBytes;
        require(unescapeBytes(s, sBytes), "there is no such escape");
        return sBytes;
    }
    std::pair<std::string, std::string> field(std::string_view s) const {
        // An empty value leaves no space behind the colon that an editor would keep.
        const std::size_t nColon = s.find(':');
        require(nColon != s.npos, "a name, a colon, a space and a value should stand here");
        const std::string_view sValue = s.substr(nColon + 1);
        return {text(s.substr(0, nColon)), text(sValue.substr(sValue.starts_with(' ') ? 1 : 0))};
    }
    std::size_t number(std::string_view s,
                       std::size_t nMost = std::numeric_limits<std::size_t>::max()) const {
        std::size_t n = 0;
        const char* const pEnd = s.data() + s.size();
        const auto tResult = std::from_chars(s.data(), pEnd, n);
        require(tResult.ec == std::errc() && tResult.ptr == pEnd && n <= nMost, "a number should stand here");
        return n;
    }
    unsigned status(std::string_view s) const { return static_cast<unsigned>(number(s, 999)); }
    int result(std::string_view s) const {
        const auto it = std::ranges::find(s_ksResults, s);
        require(it != s_ksResults.end(), "the result of a call should stand here");
        return static_cast<int>(it - s_ksResults.begin());
    }

    const std::string_view m_sText;
    const bool m_bEdited;
    std::string_view m_sLeft = m_sText;
    std::size_t m_nLine = 0;
    Recording m_t;
    bool m_bRequest = false;
    std::size_t m_nCallsLeft = s_knMostCalls;
    EEnd m_eEnd = EEnd::kOpen;
    std::string* m_pContent = nullptr;  ///< what the lines of bytes that follow belong to
    std::size_t m_nContent = 0;
    bool m_bCountsEvent = false;  ///< it is the last event's
};

}  // namespace

Recording Recording::read(std::string_view sText, bool bEdited) {
    return Reader(sText, bEdited || sText.ends_with(s_ksAnyChecksum)).read();
}
