#pragma once

#include <string_view>

#include "zq/foundation/transcoding.h"

/// Constants of international text.
struct ZQ_EXPORT I18NUtils {
    static const TranscodingUTF8 kUTF8;
    /// The byte order marks of UTF-16 (Unicode 15, section 23.8).
    static constexpr std::string_view kUTF16LEBOM{"\xFF\xFE", 2};
    static constexpr std::string_view kUTF16BEBOM{"\xFE\xFF", 2};
};
