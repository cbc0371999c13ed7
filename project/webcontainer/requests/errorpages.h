#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "http/errorpage.h"
#include "http/requestinput.h"

namespace webcontainer {

/// What stands in responses that the front end makes itself: a page for clients that ask for HTML, the
/// operator's or the built-in one, and text for all others. Any thread.
class ErrorPages {
public:
    /// The longest page of an operator, in bytes.
    static constexpr std::size_t s_knMostBytes = 65536;

    /// The operator's pages are in sFolder: "404.html" and the like for one status, "4xx.html" and "5xx.html"
    /// for the others of a class; other files than *.html are no pages. Empty: there are none. Throws
    /// StartError.
    explicit ErrorPages(std::string sFolder) : m_sFolder(std::move(sFolder)) { readAgain(); }

    /// Throws StartError; then the pages are as before.
    void readAgain();
    /// Appends the body for the client of rInput's request, as far as that has been received, and returns its
    /// media type.
    std::string_view append(NarrowStringBufferBase& rBuffer, const RequestInput& rInput,
                            const ErrorNotice& rNotice) const;

private:
    using Pages = std::map<std::string, std::string, std::less<>>;  ///< by name, without ".html"

    static Pages read(const std::string& sFolder);
    std::shared_ptr<const Pages> get() const;

    const std::string m_sFolder;
    mutable std::mutex m_tMutex;
    std::shared_ptr<const Pages> m_pPages;
};

/// Whether a client names HTML among what it accepts (RFC 9110 section 12.5.1). Who accepts everything is not
/// asked for more: browsers name it, programs seldom do.
bool asksForHtml(const RequestInput& rInput) noexcept;

}  // namespace webcontainer
