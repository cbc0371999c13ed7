#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zq/httpstream/zqhttpstream.h"

namespace kit {

/// The cookies that a client sends (RFC 6265 sections 4.2 and 5.4), and how they are set (section 4.1).
///
///     const kit::Cookies tCookies(rStream);
///     const std::string sTheme = tCookies.get("theme", "light");
///     kit::Cookies::set(rStream, "theme", "dark", {.tMaxAge = std::chrono::hours(24)});
///     kit::Cookies::remove(rStream, "old");
///     rStream.addText(fromUtf8(sTheme));
///
/// Anybody can send any cookie: a value is no more to be believed than a field of a form. A value of its own,
/// which keeps nothing of the stream.
class ZQ_EXPORT Cookies {
public:
    enum class ESameSite { kStrict, kLax, kNone };
    enum class ESecure {
        kAsRequested,  ///< if this request came by https, as the server variable HTTPS says
        kAlways,
        kNever,
    };
    /// Where a cookie goes and who sees it. At first: to every path of this very host, until the browser
    /// ends, seen by no script, and sent with no form of another site.
    struct ZQ_EXPORT Attributes {
        std::string sPath = "/";
        std::string sDomain = {};                          ///< "": this host alone, without those below it
        std::optional<std::chrono::seconds> tMaxAge = {};  ///< 0 or less: it ends now
        ESecure eSecure = ESecure::kAsRequested;
        bool bHttpOnly = true;
        ESameSite eSameSite = ESameSite::kLax;
    };

    /// Reads all Cookie fields. Takes what clients send: pairs without "=" are left out, white space around
    /// names and values too; quotes belong to a value.
    explicit Cookies(ZQHttpStream& rStream);

    /// The first value of a name, letter case included, or null. Browsers send those of longer paths first.
    const std::string* find(std::string_view sName) const noexcept;
    std::string get(std::string_view sName, const std::string& sDefault = {}) const;
    const std::vector<std::pair<std::string, std::string>>& getAll() const noexcept { return m_tPairs; }

    /// Adds a Set-Cookie field, before the first Flush(). Throws std::invalid_argument, and adds nothing,
    /// for what would break the field or what browsers drop: a name that is no token, a value with anything
    /// but cookie-octets, in quotes or not (escapeUrl() makes any text one), control characters or ";" in
    /// path or domain, a path that does not begin with "/", more than 4096 bytes; SameSite=None without
    /// Secure; and names that begin with "__Secure-" or "__Host-", in any letter case, without what they
    /// promise. For these two, and SameSite=None, kAsRequested means kAlways.
    static void set(ZQHttpStream& rStream, std::string_view sName, std::string_view sValue,
                    const Attributes& rAttributes);
    static void set(ZQHttpStream& rStream, std::string_view sName, std::string_view sValue);
    /// Lets a browser forget a cookie, which must have been set with the same path and domain.
    static void remove(ZQHttpStream& rStream, std::string_view sName, const Attributes& rAttributes);
    static void remove(ZQHttpStream& rStream, std::string_view sName);

private:
    std::vector<std::pair<std::string, std::string>> m_tPairs;
};

}  // namespace kit
