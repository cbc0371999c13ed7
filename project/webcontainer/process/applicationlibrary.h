#pragma once

#include <memory>
#include <string>

#include "zq/httpextension/httpapplication.h"

namespace webcontainer {

/// An application's shared object. It stays loaded until the process ends: log sources and counters that the
/// application made refer to its texts.
class ApplicationLibrary {
public:
    /// Loads it, sees that it was built for this program, and looks its factory up. A name without a slash is
    /// searched as dlopen(3) says. Throws StartError.
    explicit ApplicationLibrary(const std::string& sPath);
    /// Makes the application. Throws StartError when the factory throws or returns null.
    std::unique_ptr<HttpApplication> create() const;

private:
    const std::string m_sPath;
    HttpApplicationFactory* m_pFactory;
};

}  // namespace webcontainer
