#include "testserver.h"

#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace test {

namespace {

constexpr int s_knPatienceMs = 5000;

std::size_t declaredLength(const std::string& sHead) {
    const std::size_t nField = sHead.find("Content-Length: ");
    return nField == std::string::npos ? 0 : std::stoul(sHead.substr(nField + 16));
}

}  // namespace

webcontainer::Limits quickLimits() {
    webcontainer::Limits tLimits;
    tLimits.nSweepIntervalMs = 10;
    tLimits.nLingerTimeoutMs = 500;
    return tLimits;
}

webcontainer::ContainerOptions localOptions(const webcontainer::Limits& rLimits, unsigned nWorkers,
                                            const std::string& sListen) {
    webcontainer::ContainerOptions tOptions;
    webcontainer::ListenAddress::parse(sListen, tOptions.tListen.emplace_back());
    tOptions.nWorkers = nWorkers;
    tOptions.tLimits = rLimits;
    return tOptions;
}

Server::Server(ScriptedHandler::Answer fAnswer, const webcontainer::Limits& rLimits, unsigned nWorkers,
               webcontainer::AccessLog* pAccessLog)
    : Server(std::move(fAnswer), localOptions(rLimits, nWorkers), pAccessLog) {}

Server::Server(ScriptedHandler::Answer fAnswer, const webcontainer::ContainerOptions& rOptions,
               webcontainer::AccessLog* pAccessLog, webcontainer::Recorder* pRecorder)
    : m_tHandler(std::move(fAnswer)),
      m_tContainer(rOptions, m_tHandler, pAccessLog, pRecorder) {
    m_tContainer.start();
}

Client::Client(const webcontainer::SocketAddress& rServer, int nReceiveBuffer, const char* pFrom)
    : m_nFd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (nReceiveBuffer != 0)
        ::setsockopt(m_nFd, SOL_SOCKET, SO_RCVBUF, &nReceiveBuffer, sizeof nReceiveBuffer);
    const int nOn = 1;
    ::setsockopt(m_nFd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    webcontainer::SocketAddress tFrom;
    if (pFrom && (!webcontainer::SocketAddress::parseHost(pFrom, tFrom) ||
                  ::bind(m_nFd, tFrom.data(), tFrom.size()) != 0))
        throw std::runtime_error("cannot bind");
    if (::connect(m_nFd, rServer.data(), rServer.size()) != 0) throw std::runtime_error("cannot connect");
}

Client::~Client() {
    if (m_nFd >= 0) ::close(m_nFd);
}

bool Client::send(std::string_view s) {
    while (!s.empty()) {
        const ssize_t nSent = ::send(m_nFd, s.data(), s.size(), MSG_NOSIGNAL);
        if (nSent <= 0) return false;
        s.remove_prefix(static_cast<std::size_t>(nSent));
    }
    return true;
}

void Client::sendUrgent(char c) {
    ::send(m_nFd, &c, 1, MSG_OOB | MSG_NOSIGNAL);
}

void Client::finish() {
    ::shutdown(m_nFd, SHUT_WR);
}

void Client::vanish() {
    const linger tLinger{1, 0};
    ::setsockopt(m_nFd, SOL_SOCKET, SO_LINGER, &tLinger, sizeof tLinger);
    ::close(std::exchange(m_nFd, -1));
}

bool Client::hasInput(int nMs) const {
    pollfd tPoll{m_nFd, POLLIN, 0};
    return ::poll(&tPoll, 1, nMs) > 0;
}

bool Client::readSome() {
    if (!hasInput(s_knPatienceMs)) {
        m_sEnd = "<silence>";
        return false;
    }
    char tPiece[65536];
    const ssize_t nReceived = ::recv(m_nFd, tPiece, sizeof tPiece, 0);
    if (nReceived < 0) m_sEnd = "<reset>";
    if (nReceived <= 0) return false;
    m_sReceived.append(tPiece, static_cast<std::size_t>(nReceived));
    return true;
}

std::string Client::take(std::size_t nLength) {
    std::string s = m_sReceived.substr(0, nLength);
    m_sReceived.erase(0, nLength);
    return s;
}

std::string Client::readAll() {
    while (readSome()) {
    }
    return take(m_sReceived.size()) + m_sEnd;
}

std::string Client::readUntil(std::string_view sEnd) {
    std::size_t nEnd;
    while ((nEnd = m_sReceived.find(sEnd)) == std::string::npos)
        if (!readSome()) return take(m_sReceived.size()) + m_sEnd;
    return take(nEnd + sEnd.size());
}

std::string Client::read(std::size_t nLength) {
    while (m_sReceived.size() < nLength)
        if (!readSome()) return take(nLength) + m_sEnd;
    return take(nLength);
}

std::string Client::readResponse(std::string_view sMethod) {
    std::string sResponse = readUntil("\r\n\r\n");
    return sResponse + read(sMethod == "HEAD" ? 0 : declaredLength(sResponse));
}

void waitFor(const std::function<bool()>& fHolds) {
    while (!fHolds())
        ::usleep(1000);
}

std::string ask(const webcontainer::SocketAddress& rServer, std::string_view sRequest) {
    Client tClient(rServer);
    tClient.send(sRequest);
    tClient.finish();
    return tClient.readAll();
}

std::string bodyOf(const std::string& sResponse) {
    if (sResponse == "<silence>") return sResponse;
    return sResponse.starts_with("HTTP") ? sResponse.substr(sResponse.find("\r\n\r\n") + 4) : std::string();
}

std::string withoutDates(std::string sResponses) {
    for (std::size_t n; (n = sResponses.find("Date: ")) != std::string::npos;)
        sResponses.erase(n, sResponses.find("\r\n", n) + 2 - n);
    return sResponses;
}

void answer(Response& rResponse, std::string_view sBody, unsigned nStatus) {
    rResponse.setStatusCode(nStatus);
    rResponse.setContentLength(sBody.size());
    rResponse.commitHeaders();
    rResponse.endResponse(sBody.empty() ? nullptr : sBody.data(), sBody.size());
}

std::string readBody(Request& rRequest, std::size_t nPiece) {
    std::string sBody;
    std::string sPiece(nPiece, '\0');
    while (const std::size_t nRead = rRequest.readFromBody(sPiece.data(), sPiece.size()))
        sBody.append(sPiece, 0, nRead);
    return sBody;
}

std::string variable(Request& rRequest, const char* pName) {
    std::size_t nSize = 0;
    const int nResult = rRequest.getServerVariable(pName, nullptr, nSize);
    if (nResult < 0) return "<none>";
    std::string sValue(nSize, '\0');
    return rRequest.getServerVariable(pName, sValue.data(), nSize) > 0 ? sValue : "<asks for more again>";
}

}  // namespace test
