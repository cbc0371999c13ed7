// What the application kit costs: finding one of 10 routes and one of 1000, and a page written by hand and
// the same page written with it. Each pair runs in turns; "ratio" is the second time by the first.

#include <benchmark/benchmark.h>

#include <ctime>

#include "zq/applicationkit/formdata.h"
#include "zq/applicationkit/htmlwriter.h"
#include "zq/applicationkit/router.h"
#include "zq/memoryhost/memoryhost.h"

namespace {

/// The processor time of this thread, which nobody else's work changes, in seconds.
double processorTime() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

/// Runs two things in turns, and says how the second one compares to the first.
template <class FirstT, class SecondT>
void compare(benchmark::State& rState, FirstT fFirst, SecondT fSecond) {
    constexpr int knTurn = 20;
    double nFirst = 0, nSecond = 0;
    const auto fMeasure = [](auto& f) {
        const double nStart = processorTime();
        for (int n = 0; n < knTurn; ++n)
            f();
        return processorTime() - nStart;
    };
    for ([[maybe_unused]] auto _ : rState) {
        nFirst += fMeasure(fFirst);
        nSecond += fMeasure(fSecond);
    }
    const double nRuns = static_cast<double>(rState.iterations()) * knTurn;
    rState.counters["first_ns"] = nFirst / nRuns * 1e9;
    rState.counters["second_ns"] = nSecond / nRuns * 1e9;
    rState.counters["ratio"] = nSecond / nFirst;
}

/// An application of so many routes, half of them with a placeholder, and requests for ten of them.
class Routes {
public:
    explicit Routes(int nRoutes) : m_tRouter(make(nRoutes)) {
        for (int n = 0; n < 10; ++n) {
            const int nRoute = n * (nRoutes / 10) + (nRoutes > 10 ? n % 2 : 0);
            m_tRequests.push_back(
                {.sTarget = "/shop" + std::to_string(nRoute) + "/orders" + (n % 2 ? "/17" : ""),
                 .bRecords = false});
        }
    }
    void run() {
        for (const MemoryRequest& rRequest : m_tRequests)
            if (m_tHost.run(rRequest).nStatus != 200) std::abort();
    }

private:
    std::vector<kit::Router::Route> make(int nRoutes) {
        std::vector<kit::Router::Route> tRoutes;
        for (int n = 0; n < nRoutes; ++n)
            m_tPatterns.push_back(L"/shop" + std::to_wstring(n) + L"/orders" + (n % 2 ? L"/{id}" : L""));
        for (const std::wstring& sPattern : m_tPatterns)
            tRoutes.push_back({kit::Router::kGet, sPattern, [](const kit::RoutedRequest& r) {
                                   r.rStream.addText(L"found");
                                   return HttpApplication::kOK;
                               }});
        return tRoutes;
    }

    std::vector<std::wstring> m_tPatterns;
    const kit::Router m_tRouter;
    std::vector<MemoryRequest> m_tRequests;
    MemoryHost m_tHost{[this](auto& rStream, auto& rRequest) { return m_tRouter.get(rStream, rRequest); }};
};

void tenRoutesAndThousand(benchmark::State& rState) {
    Routes tTen(10), tThousand(1000);
    compare(
        rState, [&] { tTen.run(); }, [&] { tThousand.run(); });
}

struct Row {
    std::wstring sName, sValue;
    int nCount;
};

const std::vector<Row> s_tRows = [] {
    std::vector<Row> tRows;
    for (int n = 0; n < 50; ++n)
        tRows.push_back({L"Article " + std::to_wstring(n) + L" of the caf\u00e9",
                         n % 5 ? L"Some words about it, and where it is kept" : L"\"fish\" & <chips>",
                         n * 7});
    return tRows;
}();

/// As an application does it that has nothing but the stream.
void addEscaped(ZQHttpStream& rStream, std::wstring_view s) {
    std::size_t nDone = 0;
    for (std::size_t n = 0; n < s.size(); ++n) {
        const wchar_t* pEntity = nullptr;
        switch (s[n]) {
            case L'&':
                pEntity = L"&amp;";
                break;
            case L'<':
                pEntity = L"&lt;";
                break;
            case L'>':
                pEntity = L"&gt;";
                break;
            case L'"':
                pEntity = L"&quot;";
                break;
            case L'\'':
                pEntity = L"&#39;";
                break;
            default:
                continue;
        }
        rStream.addText(s.substr(nDone, n - nDone));
        rStream.addText(pEntity);
        nDone = n + 1;
    }
    rStream.addText(s.substr(nDone));
}

HttpApplication::EStatus byHand(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
    ZQWString sPath;
    rStream.GetServerVariable("URL", sPath);
    if (sPath != L"/articles") return HttpApplication::kBadCommand;
    const QueryParameters tQuery(rRequest.sQueryString, rRequest.hParameterCharset);
    rStream.SetFormat(WebContentFormat::kHTML);
    rStream.addText(L"<!DOCTYPE html>\n<title>Articles</title>\n<h1>Articles for ");
    addEscaped(rStream, tQuery.get(L"name"));
    rStream.addText(L"</h1>\n<table>\n");
    for (const Row& r : s_tRows) {
        rStream.addText(L"<tr><th scope=\"row\">");
        addEscaped(rStream, r.sName);
        rStream.addText(L"</th><td title=\"");
        addEscaped(rStream, r.sValue);
        rStream.addText(L"\">");
        addEscaped(rStream, r.sValue);
        rStream.addText(L"</td><td>");
        rStream.addText(std::to_wstring(r.nCount));
        rStream.addText(L"</td></tr>\n");
    }
    rStream.addText(L"</table>\n");
    return HttpApplication::kOK;
}

HttpApplication::EStatus withKit(const kit::RoutedRequest& r) {
    const kit::FormData tQuery(r.rStream, r.rRequest);
    r.rStream.SetFormat(WebContentFormat::kHTML);
    kit::HtmlWriter tHtml(r.rStream);
    tHtml.write(L"<!DOCTYPE html>\n<title>Articles</title>\n<h1>Articles for {}</h1>\n<table>\n",
                tQuery.get(L"name"));
    for (const Row& rRow : s_tRows)
        tHtml.write(L"<tr><th scope=\"row\">{}</th><td title=\"{}\">{}</td><td>{}</td></tr>\n", rRow.sName,
                    rRow.sValue, rRow.sValue, rRow.nCount);
    tHtml.markup(L"</table>\n");
    return HttpApplication::kOK;
}

void pageByHandAndWithKit(benchmark::State& rState) {
    const kit::Router tRouter({{kit::Router::kGet, L"/articles", withKit}});
    MemoryHost tHand(byHand),
        tKit([&](auto&rStream, auto&rRequest) { return tRouter.get(rStream, rRequest); });
    const MemoryRequest tRequest{.sTarget = "/articles?name=Zo%C3%AB&more=1", .bRecords = false};
    if (tHand.run(tRequest).sBody != tKit.run(tRequest).sBody)
        return rState.SkipWithError("the pages differ");
    compare(
        rState, [&] { tHand.run(tRequest); }, [&] { tKit.run(tRequest); });
}

BENCHMARK(tenRoutesAndThousand)->MinTime(2);
BENCHMARK(pageByHandAndWithKit)->MinTime(2);

}  // namespace
