#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "http/methodrules.h"
#include "http/requestinput.h"
#include "requests/servervariables.h"

namespace test {

/// What a handler saw of a request, as the records of connections write it. fVariable: the server variable of
/// a name, or "<none>".
template <class Lookup>
std::string describeRequest(Lookup fVariable, const std::string& sBody) {
    const auto orElse = [&](const char* pName, const char* pElse) {
        const std::string s = fVariable(pName);
        return s == "<none>" ? std::string(pElse) : s;
    };
    std::string s = fVariable("REQUEST_METHOD") + " " + fVariable("URL");
    if (const std::string sQuery = orElse("QUERY_STRING", ""); !sQuery.empty()) s += "?" + sQuery;
    s += " " + orElse("HTTP_HOST", "-");
    if (const std::string sX = fVariable("HTTP_X"); sX != "<none>") s += " X=" + sX;
    return sBody.empty() ? s : s + " " + sBody;
}

/// Bytes into an input in exact pieces, the answers that come of them out as text. Goes on with a body as a
/// running request would, so that the outcome must be the same for all divisions.
class InputFeeder {
public:
    explicit InputFeeder(const webcontainer::Limits& rLimits = webcontainer::Limits(),
                         const webcontainer::MethodRules& rMethods = {})
        : m_tLimits(rLimits),
          m_tMethods(rMethods),
          m_pInput(std::make_unique<webcontainer::RequestInput>(m_tLimits, 0)) {}
    InputFeeder(const InputFeeder&) = delete;
    InputFeeder& operator=(const InputFeeder&) = delete;

    void feed(std::string_view s) {
        while (!s.empty() && !m_bClosed) {
            const std::span<char> tRoom = m_pInput->room();
            const std::size_t nPiece = s.copy(tRoom.data(), tRoom.size());
            m_pInput->commit(nPiece);
            s.remove_prefix(nPiece);
            advance();
        }
    }
    /// As a connection that is put back; only between requests or before one runs.
    void park() {
        if (!m_bClosed && !m_bRunning) m_pInput = m_pInput->detach();
    }

    const std::vector<std::string>& answers() const { return m_tAnswers; }
    /// Nothing more is read.
    bool isClosed() const { return m_bClosed; }
    bool isWithinRequest() const { return !m_pInput->isEmpty(); }

private:
    void advance() {
        using webcontainer::Parsed;
        while (!m_bClosed) {
            const Parsed tParsed = m_pInput->advance();
            if (tParsed == Parsed::kNeedMore) return;
            if (tParsed == Parsed::kRefused) {
                m_tAnswers.push_back(std::to_string(tParsed.getRefusal().nStatus));
                m_bClosed = true;
                return;
            }
            if (!m_bRunning) m_pInput->settle();
            m_bRunning = true;
            char tBody[4096];
            while (const std::size_t nTaken = m_pInput->takeBody(tBody, sizeof tBody))
                m_sBody.append(tBody, nTaken);
            if (!m_pInput->isBodyReceived()) return;
            endRequest();
        }
    }
    void endRequest() {
        webcontainer::RequestOrigin tOrigin;
        const webcontainer::ServerVariables tVariables(*m_pInput, m_tEnds, tOrigin, m_tId);
        const auto lookUp = [&](const char* pName) {
            NarrowStringBuffer tStorage;
            std::string_view sValue;
            return tVariables.find(pName, sValue, tStorage) ? std::string(sValue) : "<none>";
        };
        const auto& rHead = m_pInput->getHead();
        const auto tOwn = webcontainer::judgeMethod(m_pInput->text(rHead.tMethod),
                                                    m_pInput->text(rHead.tTarget), m_tMethods);
        std::string sAnswer =
            tOwn.nStatus == 0 ? "200 " + describeRequest(lookUp, m_sBody) : std::to_string(tOwn.nStatus);
        if (tOwn.nStatus == 200 || tOwn.nStatus == 405) sAnswer.append(" ").append(m_tMethods.getAllowed());
        m_tAnswers.push_back(std::move(sAnswer));
        m_bClosed = !m_pInput->getHead().bKeepAlive;
        m_sBody.clear();
        m_bRunning = false;
        m_pInput->next();
    }

    const webcontainer::Limits m_tLimits;
    const webcontainer::MethodRules m_tMethods;
    std::unique_ptr<webcontainer::RequestInput> m_pInput;
    webcontainer::ConnectionEnds m_tEnds;
    webcontainer::RequestId m_tId{};
    std::vector<std::string> m_tAnswers;
    std::string m_sBody;
    bool m_bRunning = false;
    bool m_bClosed = false;
};

}  // namespace test
