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
        const std::optional<QueryParameters> tQuery = parseQuery(rRequest);
        if (!tQuery) return badRequestPage(rStream, L"The query has too many parameters.");
        ZQWString sPath;
        rStream.GetServerVariable("URL", sPath);
        const Route* pRoute = findRoute(sPath);
        const Page pPage = pRoute ? pRoute->pPage : missingPage;
        return pPage({rStream, sPath, rRequest.sQueryString, *tQuery, m_tShutdown, m_nStarted});
    }

    void startShutdown() override { m_tShutdown.raise(); }

private:
    ShutdownSignal m_tShutdown;
    const std::time_t m_nStarted = std::time(nullptr);
};

}  // namespace sample

ZQ_HTTP_APPLICATION(sample::SampleApplication)
