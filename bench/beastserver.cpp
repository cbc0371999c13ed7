// beastserver PORT: what a server of Boost.Beast alone costs, on one thread and one epoll, as a rival for
// bench/frontends. It parses every request, reads its body and drops it, and answers
//
//     /download        64 MiB in chunks of 64 KiB
//     /16k and /64k    a page of as many bytes
//     anything else    a page of 1 KiB

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
// The executor's own type spares the indirections of any_io_executor.
using Socket = asio::basic_stream_socket<asio::ip::tcp, asio::io_context::executor_type>;
using Acceptor = asio::basic_socket_acceptor<asio::ip::tcp, asio::io_context::executor_type>;

constexpr std::size_t knTransfer = std::size_t{64} << 20;
constexpr std::size_t knPiece = 64 << 10;
const std::string s_ksPage(knPiece, 'x');

/// A connection; lives as long as an operation of it is under way.
class Session : public std::enable_shared_from_this<Session> {
public:
    explicit Session(Socket tSocket) : m_tSocket(std::move(tSocket)) {
        error_code tIgnored;
        m_tSocket.set_option(asio::ip::tcp::no_delay(true), tIgnored);
    }

    void receive() {
        m_tParser.emplace();
        m_tParser->body_limit(boost::none);
        receiveMore();
    }

private:
    void receiveMore() {
        static std::array<char, knPiece> s_tDropped;
        auto& rBody = m_tParser->get().body();
        rBody.data = s_tDropped.data();
        rBody.size = s_tDropped.size();
        http::async_read(
            m_tSocket, m_tBuffer, *m_tParser, [hThis = shared_from_this()](error_code tError, std::size_t) {
                if (!tError) return hThis->answer();
                if (tError != http::error::need_buffer) return;
                hThis->m_tBuffer.reserve(knPiece);  // it reads no more at once than there is room
                hThis->receiveMore();
            });
    }

    void answer() {
        const auto sTarget = m_tParser->get().target();
        if (sTarget == "/download") return download();
        m_tPage.emplace();
        addFields(*m_tPage);
        const std::size_t nSize = sTarget == "/64k" ? 64 << 10 : sTarget == "/16k" ? 16 << 10 : 1 << 10;
        m_tPage->body() = {s_ksPage.data(), nSize};
        m_tPage->prepare_payload();
        http::async_write(m_tSocket, *m_tPage, [hThis = shared_from_this()](error_code tError, std::size_t) {
            if (!tError) hThis->finish();
        });
    }

    void download() {
        m_tDownload.emplace();
        addFields(*m_tDownload);
        m_tDownload->chunked(true);
        m_tSerializer.emplace(*m_tDownload);
        m_nLeft = knTransfer;
        sendMore();
    }

    void sendMore() {
        m_nLeft -= knPiece;
        m_tDownload->body() = {const_cast<char*>(s_ksPage.data()), knPiece, m_nLeft > 0};
        http::async_write(m_tSocket, *m_tSerializer,
                          [hThis = shared_from_this()](error_code tError, std::size_t) {
                              if (!tError) return hThis->finish();
                              if (tError == http::error::need_buffer) hThis->sendMore();
                          });
    }

    void addFields(http::response_header<>& rHeader) const {
        rHeader.set(http::field::date, "Sun, 22 Nov 2026 12:00:00 GMT");
        rHeader.set(http::field::cache_control, "private");
        rHeader.set(http::field::expires, "Sun, 22 Nov 2026 12:01:00 GMT");
        rHeader.set(http::field::last_modified, "Tue, 14 Nov 2023 22:13:20 GMT");
        rHeader.set(http::field::content_type, "text/html; charset=utf-8");
        if (!m_tParser->get().keep_alive()) rHeader.set(http::field::connection, "close");
    }

    void finish() {
        if (m_tParser->get().keep_alive()) return receive();
        error_code tIgnored;
        m_tSocket.shutdown(Socket::shutdown_send, tIgnored);
    }

    Socket m_tSocket;
    boost::beast::flat_buffer m_tBuffer;
    std::optional<http::request_parser<http::buffer_body>> m_tParser;
    std::optional<http::response<http::span_body<const char>>> m_tPage;
    std::optional<http::response<http::buffer_body>> m_tDownload;
    std::optional<http::response_serializer<http::buffer_body>> m_tSerializer;
    std::size_t m_nLeft = 0;
};

void accept(Acceptor& rAcceptor) {
    rAcceptor.async_accept([&rAcceptor](error_code tError, Socket tSocket) {
        if (!tError) std::make_shared<Session>(std::move(tSocket))->receive();
        accept(rAcceptor);
    });
}

}  // namespace

int main(int nArguments, char** pArguments) {
    if (nArguments != 2) return 2;
    const auto nPort = static_cast<unsigned short>(std::atoi(pArguments[1]));
    asio::io_context tContext(1);  // one thread: it needs no locks
    Acceptor tAcceptor(tContext, {asio::ip::address_v4::loopback(), nPort});
    accept(tAcceptor);
    tContext.run();
}
