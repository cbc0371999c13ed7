#pragma once

#include <string_view>

#include "zq/foundation/zqexport.h"
#include "zq/foundation/zqstring.h"

/// What kind of document a response is.
struct ZQ_EXPORT WebContentFormat {
    enum EFormat { kUnknown, kHTML, kXML, kText };

    /// The format of a media type, its parameters and letter case aside: HTML for text/html, XML for
    /// text/xml, application/xml and anything that ends in +xml (RFC 7303), text for other text types.
    static EFormat fromContentType(std::wstring_view sContentType) noexcept;
    /// The media type that stands for a format; empty for kUnknown.
    static const ZQWString& getContentType(EFormat eFormat) noexcept;
};
