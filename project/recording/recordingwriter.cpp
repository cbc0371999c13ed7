#include "recordingtext.h"
#include "zq/foundation/encodingbase64.h"

namespace {

/// Of a line in base64; as MIME has it (RFC 2045 section 6.8).
constexpr std::size_t s_knBytesPerLine = 57;
/// Of a recording.
constexpr std::size_t s_knUsualBytes = 8192;

class Writer {
public:
    std::string m_sText;

    /// A line of its word and texts that may hold any bytes.
    template <class... Texts>
    void line(std::string_view sWord, const Texts&... rTexts) {
        m_sText += sWord;
        (word(rTexts), ...);
        endLine();
    }
    void fields(std::string_view sWord, const Recording::Fields& rFields) {
        for (const auto& [sName, sValue] : rFields) {
            m_sText += sWord;
            field(sName, sValue);
            endLine();
        }
    }
    void request(const Recording& r) {
        m_sText += "request";
        wordUpTo(' ', r.sMethod);
        wordUpTo(' ', r.sTarget);
        word(r.sVersion);
        endLine();
    }
    void event(const Recording::Event& r) {
        const CallForm& rForm = s_tCallForms[static_cast<std::size_t>(r.eCall)];
        m_sText.append("+").append(std::to_string(r.nAtUs)).append(" ").append(rForm.sWord);
        if (rForm.bNumber) m_sText.append(" ").append(std::to_string(r.nNumber));
        if (rForm.bResult) word(s_ksResults.at(static_cast<std::size_t>(r.nResult)));
        if (rForm.bField) field(r.sName, r.sBytes);
        if (rForm.bMessage) word(r.sBytes);
        if (r.bOmitted) word(s_ksOmitted);
        if (r.nCalls != 1) word(std::to_string(r.nCalls));
        endLine();
        if (rForm.bContent) content(r.sBytes);
    }
    /// Lines of text up to the line ends that are in it, or lines of base64.
    void content(std::string_view s) {
        if (s.empty()) return;
        if (isText(s)) {
            m_sText += s_ksText;
            appendText(m_sText, s, std::string("\n").append(s_ksText));
            m_sText += '\n';
            return;
        }
        for (; !s.empty(); s.remove_prefix(std::min(s.size(), s_knBytesPerLine))) {
            m_sText += s_ksBase64;
            appendBase64(s.substr(0, s_knBytesPerLine));
            m_sText += '\n';
        }
    }

private:
    /// Without a space that means nothing, and that editors drop.
    void endLine() {
        if (m_sText.back() == ' ') m_sText.pop_back();
        m_sText += '\n';
    }
    void word(std::string_view s) {
        m_sText += ' ';
        appendEscaped(m_sText, s);
    }
    /// One that ends where cEnd stands, which is escaped within it.
    void wordUpTo(char cEnd, std::string_view s) {
        std::size_t n = m_sText.size() + 1;
        word(s);
        while ((n = m_sText.find(cEnd, n)) != m_sText.npos)
            m_sText.replace(n, 1, cEnd == ':' ? "\\x3a" : "\\x20");
    }
    void field(std::string_view sName, std::string_view sValue) {
        wordUpTo(':', sName);
        m_sText += ':';
        word(sValue);
    }
    void appendBase64(std::string_view s) {
        NarrowStringBuffer tBuffer;
        B2NEncodingBase64::State tState;
        const B2NEncodingBase64 tEncoding;
        tEncoding.update(tState, tBuffer, s);
        tEncoding.finalize(tState, tBuffer);
        m_sText += tBuffer.view();
    }
};

}  // namespace

std::string Recording::describe() const {
    if (!tRefusal) return sMethod + " " + sTarget;
    return "a request that was refused: " + escapeBytes(sRaw.substr(0, sRaw.find('\r')));
}

std::string Recording::write() const {
    Writer t;
    t.m_sText.reserve(s_knUsualBytes);
    t.line(s_ksFirstLine);
    t.line("time", sTime);
    t.line("id", sId);
    t.line("client", sClient);
    if (tRefusal) {
        t.line("raw", std::to_string(sRaw.size()));
        t.content(sRaw);
        t.line("refused", std::to_string(tRefusal->nStatus), tRefusal->sReason);
    } else {
        t.request(*this);
        t.line("seen", sSeenMethod);
        t.fields("header", tHeaders);
        t.fields("variable", tVariables);
        t.line("length", nLength ? std::to_string(*nLength) : std::string(s_ksNoLength));
        for (const Event& r : tEvents)
            t.event(r);
        t.line("+" + std::to_string(nTotalUs), "sent", std::to_string(nStatus), bWhole ? s_ksWhole : s_ksCut);
    }
    const std::string sChecksum = checksumText(t.m_sText);
    return t.m_sText.append(s_ksChecksum).append(sChecksum).append("\n");
}
