#pragma once

#include <span>
#include <string_view>

#include "page.h"

namespace sample {

/// A path and the page that answers it.
struct Route {
    std::wstring_view sPath;
    std::wstring_view sTitle;  ///< empty: a part of other pages, not to be linked to
    std::wstring_view sAbout;  ///< a sentence for the home page
    Page pPage;
    Page pPost = nullptr;  ///< answers a POST; null: there is nothing to post here
    Page pSoap = nullptr;  ///< answers a SOAP call; null likewise
};

/// All routes, the home page first.
std::span<const Route> getRoutes() noexcept;
/// The route of exactly that path, or null.
const Route* findRoute(std::wstring_view sPath) noexcept;

}  // namespace sample
