#include "process/applicationlibrary.h"

#include <dlfcn.h>

#include <exception>

#include "base/starterror.h"
#include "log/containerlog.h"
#include "process/crashreport.h"

namespace webcontainer {

namespace {

std::string lastError() {
    // Each thread has its own in glibc.
    const char* const pError = ::dlerror();  // NOLINT(concurrency-mt-unsafe)
    return pError ? pError : "no reason given";
}

void* load(const std::string& sPath) {
    void* const pLibrary = ::dlopen(sPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!pLibrary)
        throwStartError("cannot load the application " + sPath + ": " + lastError() +
                        "; name its shared object with --app, with a slash unless it is installed");
    return pLibrary;
}

}  // namespace

ApplicationLibrary::ApplicationLibrary(const std::string& sPath)
    : m_sPath(sPath),
      m_pFactory(
          reinterpret_cast<HttpApplicationFactory*>(::dlsym(load(sPath), ZQ_HTTP_APPLICATION_FACTORY))) {
    if (!m_pFactory)
        throwStartError("the library " + sPath +
                        " is no application: it lacks the factory " ZQ_HTTP_APPLICATION_FACTORY
                        "; build it with ZQ_HTTP_APPLICATION(...)");
    reportApplication(reinterpret_cast<const void*>(m_pFactory));
}

std::unique_ptr<HttpApplication> ApplicationLibrary::create() const {
    std::string sWhy = "its factory returned nothing";
    try {
        if (HttpApplication* const pApplication = m_pFactory())
            return std::unique_ptr<HttpApplication>(pApplication);
    } catch (const Exception& e) {
        sWhy = describe(e);
    } catch (const std::exception& e) {
        sWhy = e.what();
    } catch (...) {
        sWhy = "its factory threw something";
    }
    throwStartError("the application " + m_sPath + " cannot start: " + sWhy + "; mend its setup or its code");
}

}  // namespace webcontainer
