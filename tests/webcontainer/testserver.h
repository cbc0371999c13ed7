#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "connections/container.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

namespace test {

using Request = kiv::HttpRequestProvider;
using Response = kiv::HttpResponseProvider;

/// A handler whose answer is a function.
class ScriptedHandler final : public webcontainer::RequestHandler {
public:
    using Answer = std::function<void(Request&, Response&)>;

    explicit ScriptedHandler(Answer fAnswer) : m_fAnswer(std::move(fAnswer)) {}

    std::size_t m_nResponseTimeoutMs = 0;
    std::function<void()> m_fShutdown = [] {};
    std::function<bool(const Exception&)> m_fIsBodyLimit = [](const Exception&) { return false; };

    void processRequest(Request& rRequest, Response& rResponse) override { m_fAnswer(rRequest, rResponse); }
    std::size_t getResponseTimeoutMilliSeconds() const override { return m_nResponseTimeoutMs; }
    bool isBodyLimit(const Exception& rException) const override { return m_fIsBodyLimit(rException); }
    void startShutdown() override { m_fShutdown(); }

private:
    Answer m_fAnswer;
};

/// Limits with which nothing takes long.
webcontainer::Limits quickLimits();

/// A container's options, as quick and small as tests want them.
webcontainer::ContainerOptions localOptions(const webcontainer::Limits& rLimits = quickLimits(),
                                            unsigned nWorkers = 2,
                                            const std::string& sListen = "127.0.0.1:0");

/// A container on a free port of this machine.
class Server {
public:
    explicit Server(ScriptedHandler::Answer fAnswer, const webcontainer::Limits& rLimits = quickLimits(),
                    unsigned nWorkers = 2, webcontainer::AccessLog* pAccessLog = nullptr);
    Server(ScriptedHandler::Answer fAnswer, const webcontainer::ContainerOptions& rOptions,
           webcontainer::AccessLog* pAccessLog = nullptr, webcontainer::Recorder* pRecorder = nullptr);

    ScriptedHandler m_tHandler;
    webcontainer::Container m_tContainer;

    operator const webcontainer::SocketAddress&() const { return m_tContainer.getAddress(); }
};

/// A client's connection; waits for what it wants at most some seconds.
class Client {
public:
    /// nReceiveBuffer: bytes that the kernel keeps for us; 0 leaves it the choice. pFrom: our address; null
    /// leaves it the choice too.
    explicit Client(const webcontainer::SocketAddress& rServer, int nReceiveBuffer = 0,
                    const char* pFrom = nullptr);
    /// On a connected socket.
    explicit Client(webcontainer::FileDescriptor tSocket) : m_nFd(tSocket.release()) {}
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// False: the server takes nothing any more; what came back tells why.
    bool send(std::string_view s);
    /// A byte outside of the stream.
    void sendUrgent(char c);
    /// Ends our side only.
    void finish();
    /// Closes with a reset.
    void vanish();
    /// Everything until the server's end; "<reset>" stands for a reset, "<silence>" for nothing any more.
    std::string readAll();
    /// Until the text contains sEnd.
    std::string readUntil(std::string_view sEnd);
    /// So many bytes, or fewer and how it ended.
    std::string read(std::size_t nLength);
    /// Whether anything comes within so many milliseconds.
    bool hasInput(int nMs) const;
    /// One response with a Content-Length or without a body; sMethod decides whether a body is expected.
    std::string readResponse(std::string_view sMethod = "GET");

private:
    bool readSome();
    std::string take(std::size_t nLength);

    int m_nFd;
    std::string m_sReceived;
    std::string m_sEnd;  ///< how the connection ended, for readAll()
};

/// Until the condition holds, however long that takes.
void waitFor(const std::function<bool()>& fHolds);
/// Sends, ends our side, and returns all that came.
std::string ask(const webcontainer::SocketAddress& rServer, std::string_view sRequest);
/// What follows the head; empty when the connection was closed without an answer.
std::string bodyOf(const std::string& sResponse);
/// Responses without their Date fields.
std::string withoutDates(std::string sResponses);
/// A body of known length as the module would send it.
void answer(Response& rResponse, std::string_view sBody, unsigned nStatus = 200);
/// All of a request body.
std::string readBody(Request& rRequest, std::size_t nPiece = 65536);
std::string variable(Request& rRequest, const char* pName);

}  // namespace test
