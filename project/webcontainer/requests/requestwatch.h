#pragma once

#include "requests/requestcontext.h"

namespace webcontainer {

/// Sees one request from its beginning to its end: counts it, lets others see it (Activity), and writes its
/// line in the access log, however the scope ends.
class RequestWatch {
public:
    /// The context's input is ready, or what was received of the request is refused. It must outlive the
    /// watch.
    explicit RequestWatch(RequestContext& rContext) noexcept;
    ~RequestWatch();
    RequestWatch(const RequestWatch&) = delete;
    RequestWatch& operator=(const RequestWatch&) = delete;

    /// From now on the head does not move, and others may see the request.
    void show() noexcept;
    /// The client has got the whole response; otherwise it counts as cut.
    void setWhole() noexcept { m_bCut = false; }
    /// What the calling thread runs; null: no request. For signal handlers too.
    static RequestContext* getCurrent() noexcept;

private:
    void hide() noexcept;
    RequestTimes readTimes(std::int64_t nNowUs) const noexcept;
    void writeLine(const RequestTimes& rTimes) const;

    RequestContext& m_rContext;
    const std::uint64_t m_nSentBefore;
    const std::int64_t m_nBeginUs;
    bool m_bCut = true;
    bool m_bShown = false;
};

}  // namespace webcontainer
