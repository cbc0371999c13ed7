#include <event2/thread.h>

#include <csignal>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <thread>

#include "eventrequest.h"
#include "eventresponse.h"
#include "zq/foundation/messagefilesregistry.h"
#include "zq/foundation/utf8text.h"
#include "zq/httpextension/httpserverinitcontext.h"
#include "zq/httpstream/multiparterrors.h"
#include "zq/httpstream/multipartlimits.h"
#include "zq/httpstream/queryparameters.h"
#include "zq/services/logfilewriter.h"
#include "zq/webhttpserver/httpservermessages.h"
#include "zq/webhttpserver/kivhttpserver.h"

extern "C" HttpApplication* zqCreateHttpApplication();

namespace {

constexpr std::size_t s_knWorkers = 16, s_knMostWaiting = 256;
constexpr ev_ssize_t s_knMostHeadBytes = 16384, s_knMostBodyBytes = 64 << 20;
constexpr int s_knClientSeconds = 60;

/// What a client is told that made the module throw.
unsigned int getStatus(const Exception& e) {
    if (e.getMessage() == kiv::kmsgPOSTRequestLimitException) return 413;
    if (dynamic_cast<const InputStream::UnexpectedEOF*>(&e)) return 408;
    if (dynamic_cast<const MultipartError*>(&e)) return 400;
    if (dynamic_cast<const QueryParameters::TooManyParameters*>(&e)) return 400;
    return 500;
}

void serve(kiv::KIVHttpServer& rServer, EventRequest& rRequest, EventExchange& rExchange) {
    EventResponse tResponse(rExchange, rServer.getResponseTimeoutMilliSeconds());
    try {
        rServer.processRequest(rRequest, tResponse);
    } catch (const Exception& e) {
        static const LogSourceHandle s_lsHost("eventhost");
        TWLogger::getLogger().logMessage(kSevWarning, s_lsHost, GDStringRef(e.getMessageText()),
                                         ZQ_LOG_LOCATION);
        tResponse.fail(getStatus(e));
    } catch (...) {  // whatever the application threw is the end of this request only
        tResponse.fail(500);
    }
}

/// Threads that run requests, one each. Ends when all that was given to it is done.
class WorkerPool {
public:
    explicit WorkerPool(std::size_t nWorkers) {
        for (std::size_t n = 0; n < nWorkers; ++n)
            m_tThreads.emplace_back([this] { work(); });
    }
    ~WorkerPool() {
        {
            const std::lock_guard tLock(m_tMutex);
            m_bEnding = true;
        }
        m_tChanged.notify_all();
    }
    /// False: too many wait already.
    bool add(std::function<void()> fTask) {
        const std::lock_guard tLock(m_tMutex);
        if (m_tWaiting.size() >= s_knMostWaiting) return false;
        m_tWaiting.push_back(std::move(fTask));
        m_tChanged.notify_one();
        return true;
    }

private:
    void work() {
        std::unique_lock tLock(m_tMutex);
        while (true) {
            m_tChanged.wait(tLock, [this] { return m_bEnding || !m_tWaiting.empty(); });
            if (m_tWaiting.empty()) return;
            const auto fTask = std::move(m_tWaiting.front());
            m_tWaiting.pop_front();
            tLock.unlock();
            fTask();
            tLock.lock();
        }
    }

    std::mutex m_tMutex;
    std::condition_variable m_tChanged;
    std::deque<std::function<void()>> m_tWaiting;
    bool m_bEnding = false;
    std::vector<std::jthread> m_tThreads;
};

/// The loop's side: takes requests from evhttp, and ends when it is told to and all are answered.
class EventHost {
public:
    EventHost(event_base* pBase, evhttp* pHttp, kiv::KIVHttpServer& rServer)
        : m_pBase(pBase),
          m_pHttp(pHttp),
          m_rServer(rServer),
          m_tLoop(pBase) {
        evhttp_set_gencb(pHttp, onRequest, this);
    }
    void listen(const char* pAddress, ev_uint16_t nPort) {
        m_pSocket = evhttp_bind_socket_with_handle(m_pHttp, pAddress, nPort);
        if (!m_pSocket) throw std::runtime_error("cannot listen");
        sockaddr_in tBound{};
        socklen_t nSize = sizeof tBound;
        ::getsockname(evhttp_bound_socket_get_fd(m_pSocket), reinterpret_cast<sockaddr*>(&tBound), &nSize);
        std::cout << "eventhost: serving http://" << pAddress << ':' << ntohs(tBound.sin_port) << '/'
                  << std::endl;
    }
    static void onSignal(evutil_socket_t, short, void* pThis) {
        auto& r = *static_cast<EventHost*>(pThis);
        if (std::exchange(r.m_bEnding, true)) return;
        evhttp_del_accept_socket(r.m_pHttp, r.m_pSocket);
        r.m_rServer.startShutdown();
        r.endIfIdle();
    }

private:
    static void onRequest(evhttp_request* pRequest, void* pThis) {
        static_cast<EventHost*>(pThis)->take(pRequest);
    }
    void take(evhttp_request* pRequest) {
        ++m_nRequests;
        // It ends when neither the client nor a worker needs it any more, on either's thread.
        const std::shared_ptr<EventExchange> pExchange(new EventExchange(m_tLoop, pRequest), [this](auto* p) {
            delete p;
            m_tLoop.post([this] {
                --m_nRequests;
                endIfIdle();
            });
        });
        pExchange->watch();
        const auto pCopy = std::make_shared<EventRequest>(pRequest);
        if (!m_tWorkers.add([this, pExchange, pCopy] { serve(m_rServer, *pCopy, *pExchange); }))
            evhttp_send_error(pRequest, HTTP_SERVUNAVAIL, nullptr);
    }
    void endIfIdle() {
        if (m_bEnding && m_nRequests == 0) event_base_loopexit(m_pBase, nullptr);
    }

    event_base* const m_pBase;
    evhttp* const m_pHttp;
    evhttp_bound_socket* m_pSocket = nullptr;
    kiv::KIVHttpServer& m_rServer;
    EventLoop m_tLoop;
    std::size_t m_nRequests = 0;
    bool m_bEnding = false;
    WorkerPool m_tWorkers{s_knWorkers};
};

}  // namespace

/// Serves at a port of 127.0.0.1, 0 for any free one: eventhost PORT [CONFIGURATION]
int main(int nArguments, char** pArguments) try {
    LogRegistry::addWriter(*new LogFileWriter({}), kSevInfo);  // until the process ends
    std::cerr << MessageFilesRegistry::getInstance().loadMessages();
    const auto hConfiguration = nArguments > 2 ? ConfigReaderInstance::fromFile(pArguments[2])
                                               : ConfigReaderInstance::fromText("", "defaults");
    ConfigReader::setGlobalInstance(hConfiguration);
    const std::unique_ptr<HttpApplication> pApplication(zqCreateHttpApplication());
    HttpServerInitContext tContext(*pApplication);
    kiv::KIVHttpServer tServer(tContext);
    MultipartLimits::setDefaults({.nMaxFieldBytes = MultipartLimits::s_knServersMaxFieldBytes});
    ConfigBase::loadAll(ConfigReader(hConfiguration));

    std::signal(SIGPIPE, SIG_IGN);
    evthread_use_pthreads();
    const std::unique_ptr<event_base, void (*)(event_base*)> pBase(event_base_new(), event_base_free);
    const std::unique_ptr<evhttp, void (*)(evhttp*)> pHttp(evhttp_new(pBase.get()), evhttp_free);
    evhttp_set_max_headers_size(pHttp.get(), s_knMostHeadBytes);
    evhttp_set_max_body_size(pHttp.get(), s_knMostBodyBytes);
    evhttp_set_flags(pHttp.get(), EVHTTP_SERVER_LINGERING_CLOSE);  // so that a refusal is not lost in a reset
    evhttp_set_timeout(pHttp.get(), s_knClientSeconds);
    evhttp_set_default_content_type(pHttp.get(), nullptr);
    evhttp_set_allowed_methods(pHttp.get(), EVHTTP_REQ_GET | EVHTTP_REQ_HEAD | EVHTTP_REQ_POST);

    EventHost tHost(pBase.get(), pHttp.get(), tServer);
    tHost.listen("127.0.0.1", static_cast<ev_uint16_t>(nArguments > 1 ? std::atoi(pArguments[1]) : 0));
    const std::unique_ptr<event, void (*)(event*)> pEnd(
        evsignal_new(pBase.get(), SIGTERM, EventHost::onSignal, &tHost), event_free);
    event_add(pEnd.get(), nullptr);
    event_base_dispatch(pBase.get());
    return 0;
} catch (const Exception& e) {
    std::cerr << toUtf8(e.getMessageText()) + '\n';
    return 1;
} catch (const std::exception& e) {
    std::cerr << e.what() << '\n';
    return 1;
}
