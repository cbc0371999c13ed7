#include "requests/errorpages.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "base/starterror.h"
#include "http/fieldtext.h"

namespace webcontainer {

namespace {

constexpr std::string_view s_ksEnding = ".html";

/// "404" or "4xx".
bool isPageName(std::string_view s) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return s.size() == 3 && (s[0] == '4' || s[0] == '5') &&
           (s.substr(1) == "xx" || (isDigit(s[1]) && isDigit(s[2])));
}

std::string readPage(const std::filesystem::path& rFile) {
    const auto complain = [&](const std::string& sWhat) {
        throwStartError("the error page " + rFile.string() + " " + sWhat);
    };
    if (!isPageName(rFile.stem().string()))
        complain("is for no response; name it by a status, as 404.html, or 4xx.html or 5xx.html");
    std::string sPage(ErrorPages::s_knMostBytes + 1, '\0');
    std::error_code eIgnored;  // a pipe would be waited for
    std::ifstream tFile;
    if (is_regular_file(rFile, eIgnored)) tFile.open(rFile, std::ios::binary);
    if (!tFile.is_open()) complain("cannot be read; make it a file that the server may read");
    tFile.read(sPage.data(), static_cast<std::streamsize>(sPage.size()));
    sPage.resize(static_cast<std::size_t>(tFile.gcount()));
    if (sPage.empty() || sPage.size() > ErrorPages::s_knMostBytes)
        complain("is empty or longer than " + std::to_string(ErrorPages::s_knMostBytes) + " bytes");
    return sPage;
}

/// Whether an element of Accept, such as "text/*;q=0.8", is of that range; rbAccepted says what it means.
bool isOfRange(std::string_view sElement, std::string_view sRange, bool& rbAccepted) noexcept {
    const std::size_t nEnd = std::min(sElement.find(';'), sElement.size());
    if (!equalsNoCase(trim(sElement.substr(0, nEnd)), sRange)) return false;
    rbAccepted = true;
    for (std::size_t n = nEnd; n < sElement.size();) {
        const std::size_t nNext = std::min(sElement.find(';', n + 1), sElement.size());
        const std::string_view sParameter = trim(sElement.substr(n + 1, nNext - n - 1));
        if (equalsNoCase(sParameter.substr(0, 2), "q="))
            rbAccepted = sParameter.find_first_not_of("0.", 2) != std::string_view::npos;
        n = nNext;
    }
    return true;
}

}  // namespace

bool asksForHtml(const RequestInput& rInput) noexcept {
    bool bHtml = false, bText = false, bNamed = false;
    for (const HeaderField& r : rInput.getHead().tFields) {
        if (!equalsNoCase(rInput.text(r.tName), "Accept")) continue;
        forEachElement(rInput.text(r.tValue), [&](std::string_view s) {
            if (!isOfRange(s, "text/*", bText)) bNamed = isOfRange(s, "text/html", bHtml) || bNamed;
        });
    }
    return bNamed ? bHtml : bText;
}

ErrorPages::Pages ErrorPages::read(const std::string& sFolder) {
    Pages tPages;
    if (sFolder.empty()) return tPages;
    std::error_code eError;
    for (std::filesystem::directory_iterator t(sFolder, eError), tEnd; !eError && t != tEnd;
         t.increment(eError))
        if (t->path().extension() == s_ksEnding) tPages[t->path().stem()] = readPage(t->path());
    if (eError)
        throwStartError("cannot read the error pages in " + sFolder + ": " + describeError(eError.value()) +
                        "; make WebContainer/ErrorPages a folder that the server may read");
    return tPages;
}

void ErrorPages::readAgain() {
    auto pPages = std::make_shared<const Pages>(read(m_sFolder));
    const std::lock_guard tLock(m_tMutex);
    m_pPages.swap(pPages);
}

std::shared_ptr<const ErrorPages::Pages> ErrorPages::get() const {
    const std::lock_guard tLock(m_tMutex);
    return m_pPages;
}

std::string_view ErrorPages::append(NarrowStringBufferBase& rBuffer, const RequestInput& rInput,
                                    const ErrorNotice& rNotice) const {
    if (!asksForHtml(rInput)) {
        appendErrorText(rBuffer, rNotice);
        return "text/plain; charset=utf-8";
    }
    const std::shared_ptr<const Pages> pPages = get();
    const std::string sStatus = std::to_string(rNotice.nStatus);
    auto it = pPages->find(sStatus);
    if (it == pPages->end()) it = pPages->find(sStatus.substr(0, 1) + "xx");
    const std::string_view sDesign = it != pPages->end() ? std::string_view(it->second) : std::string_view();
    appendErrorPage(rBuffer, sDesign, rNotice);
    return "text/html; charset=utf-8";
}

}  // namespace webcontainer
