#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zq/foundation/exception.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

/// What readFromBody() throws when the client of a MemoryRequest has vanished.
class ZQ_EXPORT ClientVanished : public ClonedException<ClientVanished> {
public:
    ClientVanished();
};

/// A request as a client sends it, and how that client takes the response: the script of one run, or of many.
/// Every field has a default, so a test names those that it is about:
///
///     {.sTarget = "/page?name=World"}
///     MemoryRequest::form("/sign", "name=World")
///     MemoryRequest::upload("/files", "file", "a.txt", "content").divide(7).vanishAfter(100)
///
/// A value: it can be copied, changed and run again. While it runs nobody may change it; any number of
/// threads may run the same one, if its functions allow that.
struct ZQ_EXPORT MemoryRequest {
    using Fields = std::vector<std::pair<std::string, std::string>>;
    using Calls = std::vector<std::string>;

    /// The length of a body that declares none, as a chunked one.
    static constexpr std::size_t knUndeclared = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t knNever = std::numeric_limits<std::size_t>::max();

    std::string sMethod = "GET";
    /// Path and query as they stand in the request line (RFC 9112 section 3.2.1). What stands before the
    /// first question mark is the server variable "URL", taken as it is; an empty one is not there at all.
    std::string sTarget = "/";
    /// All header fields, in order, as raw bytes. None is added: a body has no Content-Type unless it stands
    /// here.
    Fields tHeaders = {};
    /// The body, in the pieces in which it arrives: no read returns more than what is left of one. An empty
    /// piece is a read that returns 0 although the body has not ended: a stall.
    std::vector<std::string> tBody = {};
    /// The length that the request declares, in bytes; unset: that of tBody.
    std::optional<std::size_t> nContentLength = {};
    /// Whether the client is gone behind the last piece: a read that comes then throws ClientVanished, as
    /// it is not the end.
    bool bVanishes = false;
    /// Server variables beside "URL", and "URL" too where it is to be another.
    std::map<std::string, std::string> tVariables = {};
    /// The enumeration of headers fails when it comes to the one of this index.
    std::size_t nFailingHeader = knNever;
    /// What commitHeaders(), writeToBody() and endResponse() return, in turn: the last one for all that
    /// follow, kRCOK when there is none. {kRCOK, kRCClientDead} is a client that takes the headers and
    /// vanishes.
    std::vector<kiv::HttpResponseProvider::EResponseCode> tResults = {};
    /// Takes the body of the response, as it comes, in place of MemoryResponse::sBody.
    std::function<void(std::string_view)> fOnBody = {};
    /// Called with all calls so far on each call of the two providers, the last one of which has had no
    /// effect yet. It may wait, act, and throw, which is how any call can fail; the texts are those of
    /// MemoryResponse::tCalls.
    std::function<void(const Calls&)> fOnCall = {};
    /// Whether MemoryResponse::tHeaders and tCalls are filled. Without it, and without fOnCall, which needs
    /// the calls, the providers allocate nothing while a request runs but for the response's body: for
    /// measurements and for fuzzers.
    bool bRecords = true;

    /// A POST with one body, in one piece.
    static MemoryRequest post(std::string sTarget, std::string sContentType, std::string sBody);
    /// A POST of URL-encoded form fields, "name=World&age=7".
    static MemoryRequest form(std::string sTarget, std::string sFields);
    /// A POST of one file as browsers send it (RFC 7578); field and file name must have no quotation marks.
    static MemoryRequest upload(std::string sTarget, const std::string& sField, const std::string& sFileName,
                                const std::string& sContent);

    /// Divides the body anew, into pieces of so many bytes, at least 1, and what remains.
    MemoryRequest& divide(std::size_t nPiece);
    /// Keeps the body's first nBytes bytes and lets the client vanish behind them. The length that it
    /// declares is still the whole one's.
    MemoryRequest& vanishAfter(std::size_t nBytes);
};
