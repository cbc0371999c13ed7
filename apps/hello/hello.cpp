#include "zq/httpextension/httpapplication.h"
#include "zq/httpstream/queryparameters.h"

/// Greets whoever the URL names: /?name=World
class Hello final : public HttpApplication {
public:
    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        const QueryParameters tParameters(rRequest.sQueryString, rRequest.hParameterCharset);
        rStream.SetFormat(WebContentFormat::kText);
        rStream.addText(L"Good morning, ");
        rStream.addText(tParameters.get(L"name", L"World"));
        rStream.addText(L" 🌍\n");
        return kOK;
    }
};

ZQ_HTTP_APPLICATION(Hello)
