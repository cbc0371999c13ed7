#pragma once

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "fuzzinput.h"
#include "support/multipartbody.h"
#include "support/temporarydirectory.h"
#include "zq/memoryhost/memoryhost.h"
#include "zq/services/systemutils.h"

extern "C" HttpApplication* zqCreateHttpApplication();

namespace fuzz {

/// The sample application behind the module, without waiting. One for the process.
class SampleSubject {
public:
    SampleSubject() : m_pApplication((useFiles(), zqCreateHttpApplication())), m_tHost(*m_pApplication) {
        SystemUtils::setSleepFunction([](std::size_t) {});
        Exception::setPrethrowReporter(nullptr);
        debug_tools::Assertion::setReporter([](int, const wchar_t*, const wchar_t*, int) noexcept {});
        m_tHost.startShutdown();
    }

    /// Requires that the module and the application keep to the providers' contract, and that the request
    /// ends. tRequest.tResults must have an end, behind which the client of an endless response is gone.
    void run(MemoryRequest tRequest) {
        tRequest.tResults.push_back(kiv::HttpResponseProvider::kRCClientDead);
        tRequest.fOnBody = [](std::string_view) {};
        const MemoryResponse tResponse = m_tHost.run(tRequest);
        if (tRequest.sMethod == "POST") clear();
        for (const std::string& sBreach : tResponse.tBreaches)
            require(false, sBreach);
        require(
            tResponse.pException || tResponse.bEnded || tResponse.eResult != kiv::HttpResponseProvider::kRCOK,
            "an end");
    }

private:
    void useFiles() const { (void)::setenv("SAMPLE_FILES", m_tFiles.path().c_str(), 1); }
    void clear() const {
        for (const auto& rEntry : std::filesystem::directory_iterator(m_tFiles.path()))
            std::filesystem::remove(rEntry.path());
    }

    test::TemporaryDirectory m_tFiles;
    std::unique_ptr<HttpApplication> m_pApplication;
    MemoryHost m_tHost;
};

}  // namespace fuzz
