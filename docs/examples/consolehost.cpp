#include <memory>

#include "consolerequest.h"
#include "consoleresponse.h"
#include "zq/httpextension/httpserverinitcontext.h"
#include "zq/webhttpserver/kivhttpserver.h"

extern "C" HttpApplication* zqCreateHttpApplication();

void serve(kiv::KIVHttpServer& rServer, const std::string& sURL) {
    ConsoleRequest tRequest(sURL);
    ConsoleResponse tResponse;
    try {
        rServer.processRequest(tRequest, tResponse);
    } catch (...) {  // whatever the application threw is the end of this request only
        tResponse.fail();
    }
}

/// Serves one request after the other: consolehost '/?name=World' ...
int main(int nArguments, char** pArguments) try {
    const std::unique_ptr<HttpApplication> pApplication(zqCreateHttpApplication());
    HttpServerInitContext tContext(*pApplication);
    kiv::KIVHttpServer tServer(tContext);
    // An empty configuration: everything has its default.
    ConfigBase::loadAll(ConfigReader(ConfigReaderInstance::fromText("", "defaults")));

    for (int n = 1; n < nArguments; ++n)
        serve(tServer, pArguments[n]);
    return 0;
} catch (const Exception& e) {
    std::wcerr << e.getMessageText().view() << L'\n';
    return 1;
} catch (const std::exception& e) {
    std::wcerr << e.what() << L'\n';
    return 1;
}
