#include "recordingtext.h"
#include "zq/foundation/encodingbase64.h"

namespace {

/// Of a line in base64; as MIME has it (RFC 2045 section 6.8).
constexpr std::size_t s_knBytesPerLine = 57;

class Writer {
public:
    std::string m_sText;

    template <class... Words>
    void line(std::string_view sWord, const Words&... rWords) {
        m_sText += sWord;
        ((m_sText += ' ', m_sText += rWords), ...);
        endLine();
    }
    void fields(std::string_view sWord, const Recording::Fields& rFields) {
        for (const auto& [sName, sValue] : rFields)
            line(sWord, field(sName, sValue));
    }
    void event(const Recording::Event& r) {
        const CallForm& rForm = s_tCallForms[static_cast<std::size_t>(r.eCall)];
        m_sText.append("+").append(std::to_string(r.nAtUs)).append(" ").append(rForm.sWord);
        if (rForm.bNumber) word(std::to_string(r.nNumber));
        if (rForm.bResult) word(s_ksResults.at(static_cast<std::size_t>(r.nResult)));
        if (rForm.bField) word(field(r.sName, r.sBytes));
        if (rForm.bMessage) word(escapeBytes(r.sBytes));
        if (r.bOmitted) word(s_ksOmitted);
        endLine();
        if (rForm.bContent) content(r.sBytes);
    }
    /// Lines of text up to the line ends that are in it, or lines of base64.
    void content(std::string_view s) {
        const bool bText = isText(s);
        while (!s.empty()) {
            const std::size_t nLine =
                bText ? std::min(s.find('\n'), s.size() - 1) + 1 : std::min(s.size(), s_knBytesPerLine);
            const std::string_view sLine = s.substr(0, nLine);
            m_sText.append(bText ? s_ksText : s_ksBase64).append(bText ? escapeBytes(sLine) : base64(sLine));
            m_sText += '\n';
            s.remove_prefix(nLine);
        }
    }

private:
    /// Without a space that means nothing, and that editors drop.
    void endLine() {
        if (m_sText.back() == ' ') m_sText.pop_back();
        m_sText += '\n';
    }
    void word(std::string_view s) { m_sText.append(" ").append(s); }
    static std::string field(std::string_view sName, std::string_view sValue) {
        return escapeBytes(sName).append(": ").append(escapeBytes(sValue));
    }
    static std::string base64(std::string_view s) {
        NarrowStringBuffer tBuffer;
        B2NEncodingBase64::State tState;
        const B2NEncodingBase64 tEncoding;
        tEncoding.update(tState, tBuffer, s);
        tEncoding.finalize(tState, tBuffer);
        return std::string(tBuffer.view());
    }
};

}  // namespace

std::string Recording::describe() const {
    if (!tRefusal) return sMethod + " " + sTarget;
    return "a request that was refused: " + escapeBytes(sRaw.substr(0, sRaw.find('\r')));
}

std::string Recording::write() const {
    Writer t;
    t.line(s_ksFirstLine);
    t.line("time", escapeBytes(sTime));
    t.line("id", escapeBytes(sId));
    t.line("client", escapeBytes(sClient));
    if (tRefusal) {
        t.line("raw", std::to_string(sRaw.size()));
        t.content(sRaw);
        t.line("refused", std::to_string(tRefusal->nStatus), escapeBytes(tRefusal->sReason));
    } else {
        t.line("request", escapeBytes(sMethod), escapeBytes(sTarget), escapeBytes(sVersion));
        t.line("seen", escapeBytes(sSeenMethod));
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
