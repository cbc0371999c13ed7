#include "requestparser.h"

// One of the library's assertions is wrong for a last chunk whose size line ends a read, so that a client
// could end the process with it; what the assertion guards is safe all the same.
#define BOOST_DISABLE_ASSERTS
#include <algorithm>
#include <boost/beast/http/basic_parser.hpp>
#include <cstring>
#include <functional>
#include <optional>

#include "headrules.h"

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
        default:
            return EKnownField::kOther;
    }
}

std::string_view describe(http::error eError) {
    switch (eError) {
        case http::error::bad_line_ending:
            return "a line without a proper end";
        case http::error::bad_method:
            return "a malformed method";
        case http::error::bad_target:
            return "a malformed request target";
        case http::error::bad_version:
            return "a malformed or unsupported HTTP version";
        case http::error::bad_field:
            return "a malformed header field name";
        case http::error::bad_value:
            return "a malformed header field value";
        case http::error::bad_content_length:
        case http::error::multiple_content_length:
        case http::error::bad_transfer_encoding:
            return "a malformed or contradictory body length";
        case http::error::bad_chunk:
        case http::error::bad_chunk_extension:
            return "a malformed chunk";
        default:
            return "a malformed request";
    }
}

std::string_view toView(string_view s) {
    return {s.data(), s.size()};
}

/// The library's parser, told where to put what it finds.
class Collector final : public http::basic_parser<true> {
public:
    explicit Collector(const Limits& rLimits) : m_nMaxFields(rLimits.nMaxHeaderFields) {
        header_limit(rLimits.nMaxHeadBytes);
        body_limit(boost::none);
    }

    RequestHead* m_pHead = nullptr;  ///< null once the head is complete
    const char* m_pBegin = nullptr;  ///< what was received of the head...
    const char* m_pEnd = nullptr;    ///< ...up to here
    char* m_pTo = nullptr;           ///< where a chunk's bytes go
    Refusal m_tOwnRefusal;           ///< set when the refusal is ours

private:
    Stretch stretch(string_view s) const {
        return {static_cast<std::uint32_t>(s.data() - m_pBegin), static_cast<std::uint32_t>(s.size())};
    }
    void refuse(const Refusal& rRefusal, error_code& rError) {
        if (rRefusal.nStatus == 0) return;
        m_tOwnRefusal = rRefusal;
        rError = http::error::bad_value;
    }
    /// Folded values (RFC 9112 section 5.2) are put together elsewhere, or stand on a later line.
    bool isFolded(string_view sName, string_view sValue) const {
        const char* const pAfterName = sName.data() + sName.size();
        const std::less<const char*> tBefore;
        if (tBefore(sValue.data(), pAfterName) || tBefore(m_pEnd, sValue.data())) return true;
        return std::memchr(pAfterName, '\r', static_cast<std::size_t>(sValue.data() - pAfterName)) != nullptr;
    }

    void on_request_impl(http::verb eVerb, string_view sMethod, string_view sTarget, int nVersion,
                         error_code& rError) override {
        m_pHead->tMethod = stretch(sMethod);
        m_pHead->tTarget = stretch(sTarget);
        m_pHead->nVersion = static_cast<unsigned>(nVersion);
        m_pHead->bHead = eVerb == http::verb::head;
        if (!splitTarget(toView(sTarget), eVerb == http::verb::connect, *m_pHead))
            rError = http::error::bad_target;
    }
    void on_field_impl(http::field eField, string_view sName, string_view sValue,
                       error_code& rError) override {
        if (!m_pHead) return;  // a trailer
        if (isFolded(sName, sValue)) return refuse({400, "a header field folded over several lines"}, rError);
        if (m_pHead->tFields.size() == m_nMaxFields) return refuse({431, "too many header fields"}, rError);
        m_pHead->tFields.push_back({stretch(sName), stretch(sValue), classify(eField)});
        if (eField == http::field::transfer_encoding)
            refuse(checkTransferEncoding(toView(sValue), m_pHead->nVersion), rError);
    }
    void on_header_impl(error_code& rError) override {
        m_pHead->bKeepAlive = keep_alive();
        m_pHead->nContentLength = content_length().value_or(0);
        if (chunked())
            m_pHead->eFraming = EBodyFraming::kChunked;
        else if (m_pHead->nContentLength > 0)
            m_pHead->eFraming = EBodyFraming::kDeclared;
        refuse(checkHead(m_pBegin, *m_pHead), rError);
        m_pHead = nullptr;
    }
    std::size_t on_chunk_body_impl(std::uint64_t, string_view sBody, error_code&) override {
        std::memmove(m_pTo, sBody.data(), sBody.size());
        m_pTo += sBody.size();
        return sBody.size();
    }
    std::size_t on_body_impl(string_view, error_code&) override { return 0; }
    void on_response_impl(int, string_view, int, error_code&) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>&, error_code&) override {}
    void on_chunk_header_impl(std::uint64_t, string_view, error_code&) override {}
    void on_finish_impl(error_code&) override {}

    const std::size_t m_nMaxFields;
};

}  // namespace

struct RequestParser::Impl {
    std::optional<Collector> m_tCollector;
};

RequestParser::RequestParser(const Limits& rLimits) : m_pLimits(&rLimits) {}

RequestParser::RequestParser(RequestParser&&) noexcept = default;

RequestParser& RequestParser::operator=(RequestParser&&) noexcept = default;

RequestParser::~RequestParser() = default;

void RequestParser::reset() {
    if (!m_pImpl) m_pImpl = std::make_unique<Impl>();
    m_pImpl->m_tCollector.emplace(*m_pLimits);
}

RequestParser::EResult RequestParser::putHead(const char* pBegin, std::size_t& rnFrom, std::size_t nEnd,
                                              RequestHead& rHead) {
    Collector& r = *m_pImpl->m_tCollector;
    r.m_pHead = &rHead;
    r.m_pBegin = pBegin;
    r.m_pEnd = pBegin + nEnd;
    error_code eError;
    rnFrom += r.put({pBegin + rnFrom, nEnd - rnFrom}, eError);
    const bool bMore = eError == http::error::need_more;
    if (eError == http::error::header_limit || (bMore ? nEnd : rnFrom) >= m_pLimits->nMaxHeadBytes) {
        const bool bLineFits =
            std::memchr(pBegin, '\n', std::min<std::size_t>(nEnd, m_pLimits->nMaxHeadBytes));
        return refuse(bLineFits ? Refusal{431, "the header fields are too long"}
                                : Refusal{414, "the request line is too long"});
    }
    return bMore ? EResult::kNeedMore : checkResult(eError.value(), eError.failed());
}

RequestParser::EResult RequestParser::putChunked(const char*& p, const char* pEnd, char*& pTo) {
    Collector& r = *m_pImpl->m_tCollector;
    while (!r.is_done()) {
        if (p == pEnd) return EResult::kNeedMore;  // offered nothing, the library does not ask for more
        error_code eError;
        r.m_pTo = pTo;
        const std::size_t nParsed = r.put({p, static_cast<std::size_t>(pEnd - p)}, eError);
        p += nParsed;
        const bool bData = r.m_pTo != pTo;
        pTo = r.m_pTo;
        const bool bMore = eError == http::error::need_more;
        if (!bData && (bMore ? static_cast<std::size_t>(pEnd - p) : nParsed) >= m_pLimits->nMaxHeadBytes)
            return refuse({400, "a chunk's size line or the trailers are too long"});
        if (bMore) return EResult::kNeedMore;
        if (eError.failed()) return checkResult(eError.value(), true);
    }
    return EResult::kDone;
}

RequestParser::EResult RequestParser::checkResult(int nError, bool bFailed) {
    if (!bFailed) return EResult::kDone;
    const Refusal& rOwn = m_pImpl->m_tCollector->m_tOwnRefusal;
    return refuse(rOwn.nStatus != 0 ? rOwn : Refusal{400, describe(static_cast<http::error>(nError))});
}

RequestParser::EResult RequestParser::refuse(const Refusal& rRefusal) {
    m_tRefusal = rRefusal;
    return EResult::kRefused;
}

}  // namespace webcontainer
