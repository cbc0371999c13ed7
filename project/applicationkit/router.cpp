#include "zq/applicationkit/router.h"

#include <algorithm>
#include <stdexcept>

#include "routetable.h"
#include "zq/applicationkit/escape.h"

namespace kit {

namespace {

/// Stands for an encoded slash, which divides nothing, while a path is compared: no character.
constexpr wchar_t kcSlash = 0x110000;

std::wstring decodePath(std::wstring_view sPath) {
    std::wstring sDecoded, sSegment;
    while (!sPath.empty()) {
        const std::size_t nEnd = std::min(sPath.find(L'/', 1), sPath.size());
        if (!decodeUrl(sPath.substr(1, nEnd - 1), sSegment))
            throw RequestError(400, L"This address has escapes in it that stand for no text.");
        std::ranges::replace(sSegment, L'/', kcSlash);
        sDecoded += L'/';
        sDecoded += sSegment;
        sPath.remove_prefix(nEnd);
    }
    return sDecoded;
}

void writePlainText(ZQHttpStream& rStream, const RequestError& rError) {
    rStream.SetFormat(WebContentFormat::kText);
    rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    rStream.addText(rError.getMessageText());
    rStream.addText(L"\n");
}

/// What HttpApplication returns for a status, so that it is counted as what it is; kOK where there is none.
HttpRequestStatus::EStatus toResult(unsigned int nStatus) noexcept {
    switch (nStatus) {
        case 400:
            return HttpRequestStatus::kBadRequest;
        case 403:
            return HttpRequestStatus::kMaliciousInput;
        case 404:
            return HttpRequestStatus::kBadCommand;
        default:
            return HttpRequestStatus::kOK;
    }
}

}  // namespace

std::wstring_view RoutedRequest::text(std::wstring_view sName) const {
    const auto it = std::ranges::find(*m_pNames, sName);
    if (it == m_pNames->end()) throw std::out_of_range("the route has no such placeholder");
    return m_tValues[static_cast<std::size_t>(it - m_pNames->begin())];
}

long long RoutedRequest::readNumber(std::wstring_view sName, long long nLeast, long long nMost) const {
    const std::wstring_view sText = text(sName);
    long long nValue = 0;
    if (!parseNumber(sText, nLeast, nMost, nValue))
        throw RequestError(400, L"In this address, \"" + std::wstring(sText) + L"\" should be " +
                                    describeNumber(nLeast, nMost) + L" (" + std::wstring(sName) + L").");
    return nValue;
}

Router::Router(std::vector<Route> tRoutes, ErrorPage fErrorPage)
    : m_pTable(std::make_unique<const Table>(std::move(tRoutes))),
      m_fErrorPage(fErrorPage ? std::move(fErrorPage) : writePlainText) {}

Router::~Router() = default;

Router::EStatus Router::get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) const {
    return answer(kGet, rStream, rRequest);
}

Router::EStatus Router::post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) const {
    return answer(kPost, rStream, rRequest);
}

Router::EStatus Router::soap(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) const {
    return answer(kSoap, rStream, rRequest);
}

Router::EStatus Router::answer(EMethod eMethod, ZQHttpStream& rStream,
                               const HttpApplicationRequest& rRequest) const {
    ZQWString sUrl;
    rStream.GetServerVariable("URL", sUrl);
    std::wstring sDecoded;
    std::wstring_view sPath = sUrl;
    RoutedRequest tRequest(rStream, rRequest);
    try {
        if (sPath.find(L'%') != sPath.npos) sPath = sDecoded = decodePath(sPath);
        const Table::Answer* const pAnswer = m_pTable->find(eMethod, sPath, tRequest.m_tValues);
        if (!pAnswer) return answerMissing(rStream, sPath);
        std::ranges::replace(sDecoded, kcSlash, L'/');
        tRequest.m_pNames = &pAnswer->tNames;
        return pAnswer->fPage(tRequest);
    } catch (const RequestError& e) {
        if (rStream.IsCommitted()) throw;
        return refuse(rStream, e);
    }
}

Router::EStatus Router::answerMissing(ZQHttpStream& rStream, std::wstring_view sPath) const {
    Table::Values tUnused;
    const auto fHas = [&](EMethod eMethod) { return m_pTable->find(eMethod, sPath, tUnused) != nullptr; };
    const bool bGet = fHas(kGet), bPost = fHas(kPost) || fHas(kSoap);
    if (!bGet && !bPost) return refuse(rStream, RequestError(404, L"There is nothing at this address."));
    const wchar_t* const pAllow = bGet && bPost ? L"GET, HEAD, POST" : bGet ? L"GET, HEAD" : L"POST";
    return refuse(rStream,
                  RequestError(405, bGet ? L"Nothing can be sent to this address."
                                         : L"This address only takes what is sent to it."),
                  pAllow);
}

Router::EStatus Router::refuse(ZQHttpStream& rStream, const RequestError& rError) const {
    return refuse(rStream, rError, nullptr);
}

Router::EStatus Router::refuse(ZQHttpStream& rStream, const RequestError& rError,
                               const wchar_t* pAllow) const {
    rStream.Reset(ZQHttpStream::kClearAll);
    rStream.setErrorStatusCode(rError.getStatus());
    if (pAllow) rStream.AddHeader(L"Allow", pAllow);
    m_fErrorPage(rStream, rError);
    return toResult(rError.getStatus());
}

}  // namespace kit
