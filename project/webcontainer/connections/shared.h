#pragma once

#include <atomic>
#include <functional>
#include <vector>

#include "base/limits.h"
#include "base/statistics.h"
#include "connections/acceptor.h"
#include "connections/connectiontable.h"
#include "connections/poller.h"
#include "connections/queuedelay.h"
#include "connections/saturation.h"
#include "connections/slowpaths.h"
#include "connections/workroom.h"
#include "requests/requesthandler.h"
#include "requests/servingrules.h"
#include "sockets/slowclients.h"

namespace webcontainer {

class AccessLog;
class Recorder;

/// What all workers share; everything outlives them.
struct WorkerShared {
    Poller& rPoller;
    WorkRoom& rWorkRoom;
    SlowPaths& rSlowPaths;
    ConnectionTable& rConnections;
    Acceptors& rAcceptors;
    const std::function<void()>& rfAlive;  ///< to be called by the sweeping thread
    RequestHandler& rHandler;
    SlowClients& rSlowClients;
    QueueDelay& rQueueDelay;
    Saturation& rSaturation;
    const std::vector<WorkerStatistics>& rStatistics;  ///< one for each worker, and the sweeper's
    const Limits& rLimits;
    const ServingRules& rRules;
    const EProxyProtocol eProxyProtocol;
    Rarely& rNoProxyHeader;                ///< complaints about proxies that send none
    const std::atomic<bool>& rbAnnounced;  ///< responses are the last of their connections
    const std::atomic<bool>& rbDraining;   ///< connections without a request end
    AccessLog* pAccessLog;                 ///< null: there is none
    Recorder* pRecorder;                   ///< null: there is none
    int nStopFd;                           ///< readable: workers return, and give up waiting for clients
};

}  // namespace webcontainer
