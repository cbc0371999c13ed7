#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "zq/applicationkit/descriptor.h"
#include "zq/httpextension/httprequeststatus.h"
#include "zq/httpstream/zqhttpstream.h"

namespace kit {

/// The files of a folder, sent as sendFile() sends them.
///
///     const kit::StaticFiles tFiles(sFolder);
///     const kit::Router tRouter({{kit::Router::kGet, L"/static/{path...}",
///                                 [&](const auto& r) { return tFiles.send(r.rStream, r.text(L"path")); }}});
///     MemoryHost tHost([&](auto& rStream, auto& rRequest) { return tRouter.get(rStream, rRequest); });
///
/// No path leads out of the folder, whatever stands in it or is moved in it meanwhile: the kernel sees to
/// it (openat2 with RESOLVE_BENEATH, since Linux 5.6). Relative links are followed that never leave it.
/// Files and folders whose names begin with a dot are not there, nor is anything but a regular file.
///
/// Beside a file NAME there may be NAME.br and NAME.gz: the same bytes, compressed. They are sent to those
/// who accept them (RFC 9110 section 12.5.3) unless they are older than the file.
///
/// Immutable: any number of threads may use it. What is changed in the folder is seen at once.
class ZQ_EXPORT StaticFiles {
public:
    /// How they are sent.
    struct ZQ_EXPORT Options {
        /// For how many seconds a file stays fresh in caches; unset: they guess (RFC 9111 section
        /// 4.2.2).
        std::optional<std::uint32_t> nFreshSeconds = {};
        /// What stands for a folder, in a path that ends in a slash or is empty; "": nothing does.
        std::string sIndex = "index.html";
        /// Media types by the lower-case ending of the name, without its dot. They go before those of
        /// /etc/mime.types, which go before those that are built in. A file of any other ending is
        /// application/octet-stream.
        std::map<std::string, std::string> tTypes = {};
    };

    /// Opens the folder, which may be moved or replaced from then on without any effect here. Failures are
    /// std::system_error, a kernel without openat2 among them.
    explicit StaticFiles(const std::string& sFolder);
    StaticFiles(const std::string& sFolder, const Options& rOptions);

    /// Answers with a file. sPath is decoded, as a Router hands it out, and without a slash in front.
    /// Returns kOK, or kBadCommand, with nothing said or written, when there is no such file. Failures of
    /// the system that are not the client's fault are std::system_error.
    HttpRequestStatus::EStatus send(ZQHttpStream& rStream, std::wstring_view sPath) const;

private:
    Descriptor open(const std::string& sPath) const;
    ZQWString findType(std::string_view sPath) const;

    Descriptor m_tFolder;
    const Options m_tOptions;
};

}  // namespace kit
