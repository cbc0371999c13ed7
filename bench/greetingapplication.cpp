// The application of the instructions that bench/frontends counts: as little of its own as there can be
// behind parameters in a query string or a form.

#include "zq/httpextension/httpapplication.h"
#include "zq/httpstream/queryparameters.h"

namespace {

class GreetingApplication final : public HttpApplication {
public:
    EStatus get(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        return greet(rStream, QueryParameters(rRequest.sQueryString, rRequest.hParameterCharset));
    }

    EStatus post(ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) override {
        return greet(rStream, QueryParameters(rRequest.sBody, rRequest.hParameterCharset));
    }

private:
    static EStatus greet(ZQHttpStream& rStream, const QueryParameters& rParameters) {
        rStream.SetFormat(WebContentFormat::kText);
        rStream.addText(L"Good morning, ");
        rStream.addText(rParameters.get(L"name", L"World"));
        rStream.addText(L" 🌍\n");
        return kOK;
    }
};

}  // namespace

ZQ_HTTP_APPLICATION(GreetingApplication)
