#pragma once

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <mutex>

#include "filestore.h"
#include "zq/applicationkit/formdata.h"
#include "zq/applicationkit/router.h"

namespace sample {

using kit::RoutedRequest;

/// Tells requests that are waiting that the server stops. Any thread.
class ShutdownSignal {
public:
    /// Wakes everybody who waits; stays raised.
    void raise() {
        const std::lock_guard tLock(m_tMutex);
        m_bRaised = true;
        m_tRaised.notify_all();
    }
    /// Waits for that long, or until the signal is raised: true then.
    bool waitFor(std::chrono::milliseconds tDuration) {
        std::unique_lock tLock(m_tMutex);
        return m_tRaised.wait_for(tLock, tDuration, [this] { return m_bRaised; });
    }
    bool isRaised() { return waitFor({}); }

private:
    std::mutex m_tMutex;
    std::condition_variable m_tRaised;
    bool m_bRaised = false;
};

/// What the pages share; as old as the application.
struct State {
    const FileStore tFiles;
    ShutdownSignal tShutdown;
    const std::time_t nStarted = std::time(nullptr);  ///< seconds since 1970-01-01 UTC
};

/// A page answers one request. A kit::RequestError becomes its answer; whatever else it throws ends the
/// request.
using Page = void(const RoutedRequest& r, State& rState);

// The table in sampleapplication.cpp says what each of them is for.
Page textPage, charsetPage, downloadPage;
Page requestPage, formPage, bookingPage, productsPage, productPage, visitsPage;
Page exportPage, slowPage, conditionalPage;
Page filesPage, filesPost;
Page orderPage, orderPost, calculatorPage, calculatorCall;

}  // namespace sample
