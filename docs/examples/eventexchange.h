#pragma once

#include <event2/buffer.h>
#include <event2/event.h>
#include <event2/http.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// The loop's thread: everything of evhttp's is touched there only.
class EventLoop {
public:
    explicit EventLoop(event_base* pBase) : m_pBase(pBase) {}

    /// Has fTask done on the loop's thread, in the order of the calls. Any thread.
    void post(std::function<void()> fTask) {
        auto pTask = std::make_unique<std::function<void()>>(std::move(fTask));
        if (event_base_once(m_pBase, -1, EV_TIMEOUT, run, pTask.get(), &s_tNow) == 0) pTask.release();
    }

private:
    static void run(evutil_socket_t, short, void* pTask) {
        const std::unique_ptr<std::function<void()>> pOwned(static_cast<std::function<void()>*>(pTask));
        (*pOwned)();
    }

    static constexpr timeval s_tNow{0, 0};
    event_base* m_pBase;
};

/// One request between the loop, which talks to the client, and the worker that runs it. The loop drops the
/// evhttp_request whenever the connection ends, so a worker never touches it: it has pieces sent, waits for
/// each, and learns that the client is gone.
class EventExchange : public std::enable_shared_from_this<EventExchange> {
public:
    using Headers = std::vector<std::pair<std::string, std::string>>;
    enum class EResult { kSent, kGone, kLate };

    /// On the loop's thread.
    EventExchange(EventLoop& rLoop, evhttp_request* pRequest)
        : m_rLoop(rLoop),
          m_pRequest(pRequest),
          m_bHead(evhttp_request_get_command(pRequest) == EVHTTP_REQ_HEAD) {}

    /// On the loop's thread: keeps this object until the response has been sent or the client is gone.
    void watch() {
        m_pSelf = shared_from_this();
        evhttp_connection_set_closecb(evhttp_request_get_connection(m_pRequest), onClose, this);
        evhttp_request_set_on_complete_cb(m_pRequest, onComplete, this);
    }

    void start(unsigned nStatus, Headers tHeaders) {
        m_bBody = !m_bHead && nStatus != 204 && nStatus != 304;  // RFC 9110 section 6.4.1
        post([this, nStatus, tHeaders = std::move(tHeaders)] {
            for (const auto& [sName, sValue] : tHeaders)
                evhttp_add_header(evhttp_request_get_output_headers(m_pRequest), sName.c_str(),
                                  sValue.c_str());
            evhttp_send_reply_start(m_pRequest, static_cast<int>(nStatus), nullptr);
        });
    }
    /// Sends a piece of the body, and waits until the client has it, nMs milliseconds at most.
    EResult send(std::string sPiece, std::chrono::milliseconds nMs) {
        if (!m_bBody) return EResult::kSent;
        std::unique_lock tLock(m_tMutex);
        m_bSent = false;
        post([this, sPiece = std::move(sPiece)] {
            const std::unique_ptr<evbuffer, void (*)(evbuffer*)> pPiece(evbuffer_new(), evbuffer_free);
            evbuffer_add(pPiece.get(), sPiece.data(), sPiece.size());
            evhttp_send_reply_chunk_with_cb(m_pRequest, pPiece.get(), onSent, this);
        });
        if (!m_tChanged.wait_for(tLock, nMs, [this] { return m_bSent || m_bGone; })) return EResult::kLate;
        return m_bGone ? EResult::kGone : EResult::kSent;
    }
    void end() {
        post([this] { evhttp_send_reply_end(m_pRequest); });
    }
    /// Cuts the response off: the client must not take what it has for the whole.
    void abort() {
        post([this] { evhttp_connection_free(evhttp_request_get_connection(m_pRequest)); });
    }

private:
    /// On the loop's thread, as long as there is a connection.
    template <class Task>
    void post(Task fTask) {
        m_rLoop.post([pThis = shared_from_this(), fTask = std::move(fTask)] {
            if (pThis->m_pRequest) fTask();
        });
    }
    static void onSent(evhttp_connection*, void* pThis) {
        auto& r = *static_cast<EventExchange*>(pThis);
        const std::lock_guard tLock(r.m_tMutex);
        r.m_bSent = true;
        r.m_tChanged.notify_one();
    }
    static void onComplete(evhttp_request* pRequest, void* pThis) {
        evhttp_connection_set_closecb(evhttp_request_get_connection(pRequest), nullptr, nullptr);
        static_cast<EventExchange*>(pThis)->finish();
    }
    static void onClose(evhttp_connection*, void* pThis) { static_cast<EventExchange*>(pThis)->finish(); }
    void finish() {
        const auto pKept = std::move(m_pSelf);
        m_pRequest = nullptr;
        const std::lock_guard tLock(m_tMutex);
        m_bGone = true;
        m_tChanged.notify_one();
    }

    EventLoop& m_rLoop;
    evhttp_request* m_pRequest;  ///< the loop's; null when it has ended
    const bool m_bHead;
    bool m_bBody = false;  ///< the worker's
    std::shared_ptr<EventExchange> m_pSelf;
    std::mutex m_tMutex;
    std::condition_variable m_tChanged;
    bool m_bSent = false, m_bGone = false;
};
