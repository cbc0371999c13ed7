#pragma once

#include "zq/foundation/zqexport.h"
#include "zq/foundation/zqstring.h"

/// A URL reference, as it stands in a link or a Location header: already encoded, not checked.
class ZQ_EXPORT HREFString {
public:
    explicit HREFString(const ZQWString& sURL) noexcept : m_sURL(sURL) {}
    const ZQWString& getURL() const noexcept { return m_sURL; }

private:
    ZQWString m_sURL;
};
