#include "process/applicationlibrary.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <string_view>
#include <vector>

#include "base/filedescriptor.h"
#include "base/starterror.h"
#include "log/containerlog.h"
#include "process/crashreport.h"

/// Where the linker has put the first bytes of this program.
extern "C" const ElfW(Ehdr) __ehdr_start;  // NOLINT(bugprone-reserved-identifier)

namespace webcontainer {

namespace {

constexpr char s_ksThis[] = "webhttpserver " ZQ_BUILD_VERSION;

std::string lastError() {
    // Each thread has its own in glibc.
    const char* const pError = ::dlerror();  // NOLINT(concurrency-mt-unsafe)
    return pError ? pError : "no reason given";
}

std::string demangle(const std::string& sSymbol) {
    if (!sSymbol.starts_with("_Z")) return sSymbol;  // which may be a type's: "x" is long long
    int nStatus = 0;
    const std::unique_ptr<char, void (*)(void*)> pName(
        abi::__cxa_demangle(sSymbol.c_str(), nullptr, nullptr, &nStatus), &std::free);
    return pName ? pName.get() : sSymbol;
}

/// What a text says behind sBefore, up to the next space or comma; empty when it does not.
std::string cutWordBehind(std::string_view sText, std::string_view sBefore) {
    const std::size_t nPlace = sText.find(sBefore);
    if (nPlace == std::string_view::npos) return {};
    sText.remove_prefix(nPlace + sBefore.size());
    return std::string(sText.substr(0, sText.find_first_of(" ,\t")));
}

/// What dlopen(3) means, and what to do about it. Its texts name the file at fault first: the application, or
/// a library that it needs.
std::string explain(const std::string& sPath, const std::string& sError) {
    const std::string sFault = sError.substr(0, sError.find(": "));
    if (const std::string sSymbol = cutWordBehind(sError, "undefined symbol: "); !sSymbol.empty())
        return sFault + " needs " + demangle(sSymbol) +
               ", which neither this program defines nor a library that it was linked to; rebuild it "
               "against " +
               s_ksThis + ", or link it to the library that does";
    if (sError.find("cannot open") == std::string::npos)
        return sError + "; build it as a shared library on a machine like this one";
    if (sFault == sPath)
        return sError + "; name its shared object with --app, with a slash unless it is installed";
    return "it needs the library " + sError + "; install that, or link with its folder as RPATH";
}

/// Why dlopen(3) must not see a file, with the remedy; empty: it may. It would wait for the other end of a
/// pipe, die of a file that was cut off, and call one for another machine not there.
std::string findFault(const std::string& sPath) {
    const FileDescriptor tFile(::open(sPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!tFile.isOpen())
        return errno == EACCES ? describeError(errno) + "; let this user read it" : std::string();
    struct stat tStatus {};
    ElfW(Ehdr) tHead{};
    if (::fstat(tFile.get(), &tStatus) != 0 || !S_ISREG(tStatus.st_mode))
        return "it is no file; name its shared object with --app";
    if (::pread(tFile.get(), &tHead, sizeof tHead, 0) != sizeof tHead ||
        tHead.e_phentsize != sizeof(ElfW(Phdr)))
        return {};
    if (tHead.e_machine != __ehdr_start.e_machine)
        return "it is for another kind of processor; build it as a shared library on a machine like this one";
    std::vector<ElfW(Phdr)> tSegments(tHead.e_phnum);
    const std::size_t nBytes = tSegments.size() * sizeof tSegments[0];
    const auto nSize = static_cast<ElfW(Off)>(tStatus.st_size);
    const bool bWhole =
        ::pread(tFile.get(), tSegments.data(), nBytes, static_cast<off_t>(tHead.e_phoff)) ==
            static_cast<ssize_t>(nBytes) &&
        std::ranges::all_of(tSegments, [nSize](const ElfW(Phdr) & r) {
            return r.p_type != PT_LOAD || (r.p_offset <= nSize && r.p_filesz <= nSize - r.p_offset);
        });
    return bWhole ? std::string() : "it is cut off; build it again, or copy all of it";
}

void* load(const std::string& sPath) {
    // Of a name without a slash, dlopen(3) alone knows the file.
    if (const std::string sFault = sPath.find('/') == std::string::npos ? "" : findFault(sPath);
        !sFault.empty())
        throwStartError("cannot load the application " + sPath + ": " + sFault);
    void* const pLibrary = ::dlopen(sPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!pLibrary)
        throwStartError("cannot load the application " + sPath + ": " + explain(sPath, lastError()));
    return pLibrary;
}

/// Before any function of the library is called: what it takes for its arguments may lie elsewhere in ours.
void checkRecord(const std::string& sPath, void* pLibrary) {
    const auto* const pRecord =
        static_cast<const HttpApplicationRecord*>(::dlsym(pLibrary, ZQ_HTTP_APPLICATION_RECORD_NAME));
    if (!pRecord)
        throwStartError("the library " + sPath +
                        " is no application: it lacks the record " ZQ_HTTP_APPLICATION_RECORD_NAME
                        "; build it with ZQ_HTTP_APPLICATION(...)");
    if (pRecord->nContract != ZQ_HTTP_APPLICATION_CONTRACT)
        throwStartError("the application " + sPath + " was built against webhttpserver " + pRecord->pVersion +
                        " with contract " + std::to_string(pRecord->nContract) + ", but this is " + s_ksThis +
                        " with contract " + std::to_string(ZQ_HTTP_APPLICATION_CONTRACT) +
                        "; rebuild it against " + s_ksThis);
    if (std::string_view(pRecord->pAbi) != ZQ_HTTP_APPLICATION_ABI)
        throwStartError("the application " + sPath + " was built with " + pRecord->pAbi +
                        ", but this program with " ZQ_HTTP_APPLICATION_ABI
                        "; rebuild it with a compiler and options that use " ZQ_HTTP_APPLICATION_ABI);
}

HttpApplicationFactory* open(const std::string& sPath) {
    void* const pLibrary = load(sPath);
    checkRecord(sPath, pLibrary);
    void* const pFactory = ::dlsym(pLibrary, ZQ_HTTP_APPLICATION_FACTORY);
    if (!pFactory)
        throwStartError("the application " + sPath +
                        " lacks the factory " ZQ_HTTP_APPLICATION_FACTORY
                        "; build it with ZQ_HTTP_APPLICATION(...)");
    reportApplication(pFactory);
    return reinterpret_cast<HttpApplicationFactory*>(pFactory);
}

}  // namespace

ApplicationLibrary::ApplicationLibrary(const std::string& sPath) : m_sPath(sPath), m_pFactory(open(sPath)) {}

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
