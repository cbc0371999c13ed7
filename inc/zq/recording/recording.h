#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zq/foundation/zqexport.h"

/// What passed at the boundary between a front end and the module while one request ran, both ways and in
/// order; or, of a request that the front end refused before the module saw it, its bytes. A value, whose
/// text form docs/recording.md describes.
struct ZQ_EXPORT Recording {
    using Fields = std::vector<std::pair<std::string, std::string>>;

    /// A call whose effect matters, by the name that it has in the text.
    enum class ECall : std::uint8_t {
        kBody,         ///< readFromBody() returned nNumber bytes
        kBodyFailed,   ///< readFromBody() threw; sBytes: the message
        kStatus,       ///< setStatusCode(nNumber)
        kErrorStatus,  ///< setErrorStatusCode(nNumber)
        kAnnounce,     ///< setContentLength(nNumber)
        kAdd,          ///< addHeader(sName, sBytes)
        kClear,        ///< clearHeaders()
        kCommit,       ///< commitHeaders() returned nResult
        kWrite,        ///< writeToBody() of nNumber bytes returned nResult
        kEnd,          ///< endResponse() of nNumber bytes returned nResult
        kException,    ///< an exception left the module; sBytes: the message
    };
    /// One of them.
    struct Event {
        ECall eCall;
        std::int64_t nAtUs = 0;  ///< since the request began to run
        std::size_t nNumber = 0;
        int nResult = 0;  ///< as kiv::HttpResponseProvider::EResponseCode
        std::string sName{};
        std::string sBytes{};
        bool bOmitted = false;   ///< nNumber bytes passed, and sBytes has none of them
        std::size_t nCalls = 1;  ///< of which bytes were omitted: so many in a row had this result

        bool operator==(const Event&) const = default;
    };
    /// The answer of a front end in the module's place.
    struct Refusal {
        unsigned nStatus = 0;
        std::string sReason;

        bool operator==(const Refusal&) const = default;
    };

    std::string sTime;    ///< when it began to run, as "2026-11-23T15:57:14.123456Z"
    std::string sId;      ///< the request's, as logs have it
    std::string sClient;  ///< "192.0.2.1:40000"

    std::string sMethod, sTarget, sVersion;  ///< the request line, as the client sent it
    std::string sSeenMethod;                 ///< what getMethod() returns, as GET for a HEAD
    Fields tHeaders;
    Fields tVariables;
    std::optional<std::uint64_t> nLength = 0;  ///< getContentLength(); unset: not declared
    std::vector<Event> tEvents;
    unsigned nStatus = 0;  ///< that the client got; 0: nothing was sent
    bool bWhole = false;   ///< the client got the whole response
    std::int64_t nTotalUs = 0;

    std::string sRaw;                 ///< of a refused request: as much as had been received
    std::optional<Refusal> tRefusal;  ///< set: sMethod to nTotalUs have their defaults

    bool operator==(const Recording&) const = default;

    /// Stands for what a front end kept to itself, as the value of a field.
    static constexpr std::string_view s_ksRedacted = "(redacted)";

    /// "POST /form", or what it is of a refused one: for people.
    std::string describe() const;
    /// The text form, its checksum included.
    std::string write() const;

    /// What is wrong with a text; its message begins with the line, as "line 3: ...".
    class ZQ_EXPORT Unreadable : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };
    /// Throws Unreadable for a text of another format or version, one that is torn or changed, and one that
    /// says what cannot be. bEdited: the checksum, and how many bytes a piece has, may be wrong.
    static Recording read(std::string_view sText, bool bEdited = false);
};

/// What an exception says, in UTF-8, as recordings have it.
ZQ_EXPORT std::string messageOf(const std::exception_ptr& pException);

/// The text of bytes in one line: line ends, tabs, backslashes, a last space, and bytes that are no text
/// become escapes, as \r \n \t \\ \x00. UTF-8 stays as it is.
ZQ_EXPORT std::string escapeBytes(std::string_view s);
