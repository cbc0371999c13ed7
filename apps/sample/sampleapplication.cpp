#include <ctime>
#include <optional>

#include "pages/pages.h"
#include "router.h"
#include "zq/httpextension/httpapplication.h"

namespace sample {

namespace {

/// Null when there are more parameters than anybody means.
std::optional<QueryParameters> parseQuery(const HttpApplicationRequest& rRequest) {
    try {
        return QueryParameters(rRequest.sQueryString, rRequest.hParameterCharset);
    } catch (const QueryParameters::TooManyParameters&) {
        return std::nullopt;
    }
}

}  // namespace

/// Finds the page of the request's path and lets it answer.
class SampleApplication final : public HttpApplication {
public:
    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        return answer(rStream, rRequest, &Route::pPage);
    }
    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        return answer(rStream, rRequest, &Route::pPost);
    }
    EStatus soap(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        return answer(rStream, rRequest, &Route::pSoap);
    }

    void startShutdown() override { m_tShutdown.raise(); }

private:
    EStatus answer(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest, Page Route::*pKind) {
        const std::optional<QueryParameters> tQuery = parseQuery(rRequest);
        if (!tQuery) return badRequestPage(rStream, L"The query has too many parameters.");
        ZQWString sPath;
        rStream.GetServerVariable(ServerVariable::kUrl, sPath);
        const Route* const pRoute = findRoute(sPath);
        const Page pPage = pRoute ? pRoute->*pKind : missingPage;
        if (!pPage) return badRequestPage(rStream, L"Nothing can be sent to this page.");
        return pPage({rStream, sPath, rRequest, *tQuery, m_tFiles, m_tShutdown, m_nStarted});
    }

    const FileStore m_tFiles;
    ShutdownSignal m_tShutdown;
    const std::time_t m_nStarted = std::time(nullptr);
};

}  // namespace sample

ZQ_HTTP_APPLICATION(sample::SampleApplication)
