#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>

#include "zq/applicationkit/descriptor.h"
#include "zq/httpstream/zqhttpstream.h"

namespace kit {

/// What is to be said about a file that is sent.
struct ZQ_EXPORT FileDescription {
    /// The media type. Text goes out as UTF-8.
    ZQWString sType = L"application/octet-stream";
    /// Content-Encoding (RFC 9110 section 8.4) that the file is in, or none.
    ZQWString sEncoding = {};
    /// For how many seconds the answer stays fresh; unset: as ZQHttpStream::getExpireSeconds() has it.
    std::optional<std::uint32_t> nFreshSeconds = {};
    /// Asked before each step; true ends the response at once, cut off so that the client sees it.
    std::function<bool()> fCancelled = {};
};

/// Answers a GET with an open regular file, which nobody may change meanwhile.
///
///     const kit::Descriptor tFile(open(sPath.c_str(), O_RDONLY | O_CLOEXEC));
///     if (!tFile) throw kit::RequestError(404, L"There is no such bill.");
///     rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, L"bill.pdf"));
///     kit::sendFile(rStream, tFile, {.sType = L"application/pdf"});
///
/// - ETag from size and time of change, a weak one until the file is two seconds old, and Last-Modified
///   (RFC 9110 section 8.8)
/// - If-Match and If-Unmodified-Since with 412, If-None-Match and If-Modified-Since with 304 (section 13)
/// - Range of one range with 206, with If-Range; what is no range is passed over. A range beyond the file,
///   and several ranges at once, which would take a multipart answer, get 416 (section 14).
/// - a HEAD, which hosts turn into a GET, with the head of the whole file
///
/// The bytes go out in steps of 64 KiB, which is all that is held of them; a file of one step has its
/// length. Adds the header X-Content-Type-Options, so that browsers take the type for what it is. Throws
/// std::system_error, what the stream throws, and an Exception when the file has become shorter, or was
/// cancelled.
ZQ_EXPORT void sendFile(ZQHttpStream& rStream, const Descriptor& rFile,
                        const FileDescription& rDescription = {});

/// The same for what an application makes itself and knows the time of its last change of, in seconds since
/// 1970-01-01 UTC: true when the client has it already, and 304 is the answer. False sets that time as
/// Last-Modified, and the application goes on. A condition of another state is a RequestError of 412.
ZQ_EXPORT bool sendNotModified(ZQHttpStream& rStream, std::time_t nModified);

}  // namespace kit
