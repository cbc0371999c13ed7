// plainserver PORT answer|close|sink|source [BYTES]: what the kernel's sockets alone can do, without any
// HTTP, as the floor for bench/frontends.
//
//     answer   the same response, a page of 1 KiB or BYTES, to whatever comes at once
//     close    the same, then closes
//     sink     reads 64 MiB and more, then answers once
//     source   sends 64 MiB in pieces of 64 KiB, then closes

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t knTransfer = std::size_t{64} << 20;
constexpr std::size_t knPiece = 64 << 10;

std::string response(std::size_t nBody, bool bClose = false) {
    return "HTTP/1.1 200 OK\r\nDate: Sun, 22 Nov 2026 12:00:00 GMT\r\nContent-Length: " +
           std::to_string(nBody) +
           "\r\nCache-Control: private\r\nExpires: Sun, 22 Nov 2026 12:01:00 GMT\r\nLast-Modified: Tue, 14 "
           "Nov 2023 "
           "22:13:20 GMT\r\nContent-Type: text/html; charset=utf-8\r\n" +
           (bClose ? "Connection: close\r\n\r\n" : "\r\n") + std::string(nBody, 'x');
}

int listenOn(unsigned short nPort) {
    const int nFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int nOne = 1;
    ::setsockopt(nFd, SOL_SOCKET, SO_REUSEADDR, &nOne, sizeof nOne);
    ::setsockopt(nFd, SOL_SOCKET, SO_REUSEPORT, &nOne, sizeof nOne);
    ::setsockopt(nFd, IPPROTO_TCP, TCP_NODELAY, &nOne, sizeof nOne);
    sockaddr_in tAddress{};
    tAddress.sin_family = AF_INET;
    tAddress.sin_port = htons(nPort);
    tAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(nFd, reinterpret_cast<sockaddr*>(&tAddress), sizeof tAddress) != 0 ||
        ::listen(nFd, 1024) != 0) {
        std::perror("plainserver");
        std::_Exit(1);
    }
    return nFd;
}

/// Each thread has a listening socket and connections of its own.
void answerAll(unsigned short nPort, std::size_t nBody, bool bClose) {
    const std::string sResponse = response(nBody, bClose);
    const int nListener = listenOn(nPort), nEpoll = ::epoll_create1(EPOLL_CLOEXEC);
    auto watch = [nEpoll](int nFd) {
        epoll_event tEvent{EPOLLIN, {.fd = nFd}};
        ::epoll_ctl(nEpoll, EPOLL_CTL_ADD, nFd, &tEvent);
    };
    watch(nListener);
    char tBuffer[16384];
    for (epoll_event tEvents[64];;) {
        const int nEvents = ::epoll_wait(nEpoll, tEvents, 64, -1);
        for (int n = 0; n < nEvents; ++n) {
            const int nFd = tEvents[n].data.fd;
            if (nFd == nListener) {
                watch(::accept4(nListener, nullptr, nullptr, SOCK_CLOEXEC));
                continue;
            }
            const ssize_t nRead = ::recv(nFd, tBuffer, sizeof tBuffer, 0);
            if (nRead > 0) static_cast<void>(::send(nFd, sResponse.data(), sResponse.size(), MSG_NOSIGNAL));
            if (nRead <= 0 || bClose) ::close(nFd);
        }
    }
}

void sink(int nFd) {
    std::vector<char> tBuffer(knPiece);
    for (std::size_t nLeft = knTransfer; nLeft > 0;) {
        const ssize_t nRead = ::recv(nFd, tBuffer.data(), tBuffer.size(), 0);
        if (nRead <= 0) return;
        nLeft -= std::min(nLeft, static_cast<std::size_t>(nRead));
    }
    const std::string sResponse = response(2);
    static_cast<void>(::send(nFd, sResponse.data(), sResponse.size(), MSG_NOSIGNAL));
    while (::recv(nFd, tBuffer.data(), tBuffer.size(), 0) > 0) {
    }
}

void source(int nFd) {
    std::vector<char> tBuffer(knPiece, 'x');
    static_cast<void>(::recv(nFd, tBuffer.data(), tBuffer.size(), 0));
    for (std::size_t nSent = 0; nSent < knTransfer; nSent += tBuffer.size())
        if (::send(nFd, tBuffer.data(), tBuffer.size(), MSG_NOSIGNAL) < 0) return;
}

}  // namespace

int main(int nArguments, char** pArguments) {
    if (nArguments < 3) return 2;
    const auto nPort = static_cast<unsigned short>(std::atoi(pArguments[1]));
    const std::string_view sMode = pArguments[2];
    if (sMode == "answer" || sMode == "close") {
        const std::size_t nBody = nArguments > 3 ? std::strtoul(pArguments[3], nullptr, 10) : 1024;
        std::vector<std::thread> tThreads;
        for (unsigned n = 0; n < std::thread::hardware_concurrency(); ++n)
            tThreads.emplace_back(answerAll, nPort, nBody, sMode == "close");
        for (std::thread& r : tThreads)
            r.join();
    }
    for (const int nListener = listenOn(nPort);;) {
        const int nFd = ::accept4(nListener, nullptr, nullptr, SOCK_CLOEXEC);
        std::thread([=] {
            sMode == "sink" ? sink(nFd) : source(nFd);
            ::close(nFd);
        }).detach();
    }
}
