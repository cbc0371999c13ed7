#pragma once

#include <memory>

#include "zq/memoryhost/memoryrequest.h"
#include "zq/memoryhost/memoryresponse.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"

/// The two providers of one request, for who calls the module without a MemoryHost.
///
/// They keep to the contract to the letter, and write down every call that does not: they ask for exactly the
/// room that is needed, use all of what they are offered, read texts up to their NUL, and free what they have
/// handed out when the exchange ends. For one thread, the one that made it.
class ZQ_EXPORT MemoryExchange {
public:
    /// Both must outlive it. Method and target are copied now, the rest is looked at as calls come. rResponse
    /// is filled from now on, and best a new one.
    MemoryExchange(const MemoryRequest& rRequest, MemoryResponse& rResponse);
    MemoryExchange(MemoryRequest&& rTemporary, MemoryResponse& rResponse) = delete;
    ~MemoryExchange();

    /// Valid as long as the exchange.
    kiv::HttpRequestProvider& getRequest() noexcept;
    kiv::HttpResponseProvider& getResponse() noexcept;

    /// To be called once, when processRequest() has returned, or with what it has thrown: writes that down,
    /// and names what has been left undone.
    void finish(const std::exception_ptr& pException = nullptr);

private:
    struct Parts;

    const std::unique_ptr<Parts> m_pParts;
};
