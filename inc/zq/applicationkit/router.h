#pragma once

#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zq/applicationkit/numbertext.h"
#include "zq/applicationkit/requesterror.h"
#include "zq/httpextension/httpapplication.h"

namespace kit {

/// A request on its way to the page of its path. Valid until the page returns.
class ZQ_EXPORT RoutedRequest {
public:
    /// How many placeholders a pattern may have.
    static constexpr std::size_t s_knMostPlaceholders = 8;

    ZQHttpStream& rStream;
    const HttpApplicationRequest& rRequest;

    /// What stands in the path for the placeholder of that name, percent-decoded (RFC 3986 section 2.1).
    /// Throws std::out_of_range when the pattern has no such placeholder.
    std::wstring_view text(std::wstring_view sName) const;
    /// The same as a whole number. A RequestError of 400 says what was expected when it is none, or out of
    /// range.
    template <WholeNumber T = int>
    T number(std::wstring_view sName, T nLeast = std::numeric_limits<T>::min(),
             T nMost = std::numeric_limits<T>::max()) const {
        return static_cast<T>(readNumber(sName, nLeast, nMost));
    }

private:
    friend class Router;
    RoutedRequest(ZQHttpStream& r, const HttpApplicationRequest& rTold) noexcept
        : rStream(r),
          rRequest(rTold) {}
    long long readNumber(std::wstring_view sName, long long nLeast, long long nMost) const;

    const std::vector<std::wstring>* m_pNames = nullptr;
    std::array<std::wstring_view, s_knMostPlaceholders> m_tValues;
};

/// Finds the page of a request by method and path. Patterns are made of segments:
///
///     /orders/new         itself
///     /orders/{id}        any one segment that is not empty
///     /files/{path...}    all that follows, slashes included, even nothing
///
/// The order of the routes does not matter: from left to right, a segment that stands in the pattern goes
/// before a placeholder, and that before "...". A trailing slash counts, and so does case. Paths are compared
/// percent-decoded, segment by segment, so that an encoded slash never divides. What no route has is answered
/// with 404; a path that routes have for another method only with 405 and Allow (RFC 9110 section 15.5.6); a
/// path with escapes that are none, or no UTF-8, or NUL in it with 400. A GET route answers HEAD too, as
/// hosts turn that into a GET.
///
///     const kit::Router tRouter({{kit::Router::kGet, L"/orders/{id}", [](const kit::RoutedRequest& r) {
///                                     const int nId = r.number(L"id", 1, 9999);
///                                     r.rStream.addText(L"Order " + std::to_wstring(nId));
///                                     return HttpApplication::kOK;
///                                 }}});
///     MemoryHost tHost([&](auto& rStream, auto& rRequest) { return tRouter.get(rStream, rRequest); });
///
/// Routes are compiled once, by the constructor; finding one takes time in proportion to the path and none to
/// the number of routes. Immutable: any number of threads may use it.
class ZQ_EXPORT Router {
public:
    /// kSoap: a POST whose query begins with "soap", as HttpApplication tells it from others.
    enum EMethod { kGet, kPost, kSoap };
    using EStatus = HttpRequestStatus::EStatus;
    using Page = std::function<EStatus(const RoutedRequest& rRequest)>;
    /// Writes the page of an error. The status is set, and what a page had said and written before is gone.
    using ErrorPage = std::function<void(ZQHttpStream& rStream, const RequestError& rError)>;

    /// A page and what it answers.
    struct ZQ_EXPORT Route {
        EMethod eMethod;
        std::wstring_view sPattern;
        Page fPage;
    };

    /// Without fErrorPage, the message goes out as plain text. Throws std::invalid_argument for a pattern
    /// that is none, and for two routes of one method that stand for the same paths.
    explicit Router(std::vector<Route> tRoutes, ErrorPage fErrorPage = {});
    ~Router();
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;

    /// Answers a request; to be called by the operations of the same name of an HttpApplication. A
    /// RequestError of the page becomes its answer, unless the response is on its way already; everything
    /// else that a page throws passes.
    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) const;
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) const;
    EStatus soap(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) const;

    /// Answers with an error, as for one that a page has thrown.
    EStatus refuse(ZQHttpStream& rStream, const RequestError& rError) const;

private:
    class Table;

    EStatus answer(EMethod eMethod, ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) const;
    EStatus answerMissing(ZQHttpStream& rStream, std::wstring_view sPath) const;
    EStatus refuse(ZQHttpStream& rStream, const RequestError& rError, const wchar_t* pAllow) const;

    std::unique_ptr<const Table> m_pTable;
    ErrorPage m_fErrorPage;
};

}  // namespace kit
