#include "http/requestparser.h"

#include <boost/beast/http/basic_parser.hpp>
#include <limits>
#include <string_view>

#include "http/headrules.h"

namespace webcontainer {

namespace {

namespace http = boost::beast::http;
using boost::beast::error_code;
using boost::beast::string_view;

EKnownField classify(http::field eField) {
    switch (eField) {
        case http::field::host:
            return EKnownField::kHost;
        case http::field::content_type:
            return EKnownField::kContentType;
        case http::field::expect:
            return EKnownField::kExpect;
        case http::field::connection:
            return EKnownField::kConnection;
        case http::field::content_length:
            return EKnownField::kContentLength;
        case http::field::transfer_encoding:
            return EKnownField::kTransferEncoding;
        default:
            return EKnownField::kOther;
    }
}

std::string_view describe(http::error eError) {
    switch (eError) {
        case http::error::bad_content_length:
        case http::error::multiple_content_length:
        case http::error::bad_transfer_encoding:
            return "a malformed or contradictory body length";
        case http::error::bad_value:
            return "a malformed header field value";
        default:
            return "a malformed request";
    }
}

/// The library's parser for one complete head, told where to put what it finds.
class Collector final : public http::basic_parser<true> {
public:
    Collector(const char* pBegin, RequestHead& rHead) : m_pBegin(pBegin), m_rHead(rHead) {
        header_limit(std::numeric_limits<std::uint32_t>::max());
        body_limit(boost::none);
    }

private:
    Stretch stretch(string_view s) const {
        return {static_cast<std::uint32_t>(s.data() - m_pBegin), static_cast<std::uint32_t>(s.size())};
    }

    void on_field_impl(http::field eField, string_view sName, string_view sValue, error_code&) override {
        m_rHead.tFields.push_back({stretch(sName), stretch(sValue), classify(eField)});
    }
    void on_request_impl(http::verb, string_view, string_view, int, error_code&) override {}
    void on_header_impl(error_code&) override {}
    std::size_t on_body_impl(string_view, error_code&) override { return 0; }
    std::size_t on_chunk_body_impl(std::uint64_t, string_view, error_code&) override { return 0; }
    void on_response_impl(int, string_view, int, error_code&) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>&, error_code&) override {}
    void on_chunk_header_impl(std::uint64_t, string_view, error_code&) override {}
    void on_finish_impl(error_code&) override {}

    const char* const m_pBegin;
    RequestHead& m_rHead;
};

/// Fills rHead from a request line whose grammar has been checked.
void readRequestLine(std::string_view sHead, unsigned nVersion, RequestHead& rHead) {
    const std::size_t nMethod = sHead.find(' ');
    const std::size_t nTarget = sHead.find(' ', nMethod + 1) - nMethod - 1;
    rHead.tMethod = {0, static_cast<std::uint32_t>(nMethod)};
    rHead.tTarget = {static_cast<std::uint32_t>(nMethod + 1), static_cast<std::uint32_t>(nTarget)};
    rHead.nVersion = nVersion;
    rHead.bHead = sHead.starts_with("HEAD ");
}

/// Fills rHead from the fields of a head whose grammar has been checked, so that the library finds every
/// value on one line.
Refusal collect(std::string_view sHead, RequestHead& rHead) {
    Collector tCollector(sHead.data(), rHead);
    error_code eError;
    const std::size_t nParsed = tCollector.put({sHead.data(), sHead.size()}, eError);
    if (eError.failed()) return {400, describe(static_cast<http::error>(eError.value()))};
    if (nParsed != sHead.size() || !tCollector.is_header_done()) return {400, "a malformed request"};
    return {};
}

}  // namespace

RequestParser::RequestParser(const Limits& rLimits) noexcept
    : m_pLimits(&rLimits),
      m_tHead(rLimits),
      m_tChunks(rLimits) {}

void RequestParser::reset() noexcept {
    m_tHead = HeadScanner(*m_pLimits);
    m_tChunks = ChunkDecoder(*m_pLimits);
}

EParsed RequestParser::putHead(const char* pBegin, std::size_t& rnFrom, std::size_t nEnd,
                               RequestHead& rHead) {
    const bool bHadLine = m_tHead.hasRequestLine();
    const EParsed eParsed = m_tHead.scan(pBegin, rnFrom, nEnd);
    // At once, for those who log or answer a request that is refused or does not come to its end.
    if (!bHadLine && m_tHead.hasRequestLine()) readRequestLine({pBegin, rnFrom}, m_tHead.getVersion(), rHead);
    if (eParsed == EParsed::kNeedMore) return EParsed::kNeedMore;
    if (eParsed == EParsed::kRefused) return refuse(m_tHead.getRefusal());
    Refusal tRefusal = collect({pBegin, rnFrom}, rHead);
    if (tRefusal.nStatus == 0) tRefusal = checkHead(pBegin, rHead);
    return tRefusal.nStatus == 0 ? EParsed::kDone : refuse(tRefusal);
}

EParsed RequestParser::putChunked(const char*& p, const char* pEnd, char*& pTo) noexcept {
    const EParsed eParsed = m_tChunks.decode(p, pEnd, pTo);
    return eParsed == EParsed::kRefused ? refuse(m_tChunks.getRefusal()) : eParsed;
}

EParsed RequestParser::refuse(const Refusal& rRefusal) noexcept {
    m_tRefusal = rRefusal;
    return EParsed::kRefused;
}

}  // namespace webcontainer
