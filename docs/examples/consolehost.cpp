#include <memory>

#include "consolerequest.h"
#include "consoleresponse.h"
#include "zq/httpextension/httpserverinitcontext.h"
#include "zq/webhttpserver/kivhttpserver.h"

extern "C" HttpApplication* zqCreateHttpApplication();

/// Serves one request: consolehost '/?name=World'
int main(int nArguments, char** pArguments) try {
    const std::unique_ptr<HttpApplication> pApplication(zqCreateHttpApplication());
    HttpServerInitContext tContext(*pApplication);
    kiv::KIVHttpServer tServer(tContext);

    ConsoleRequest tRequest(nArguments > 1 ? pArguments[1] : "/");
    ConsoleResponse tResponse;
    tServer.processRequest(tRequest, tResponse);
    return 0;
} catch (const Exception& e) {
    std::wcerr << e.getMessageText().view() << L'\n';
    return 1;
}
