#pragma once

#include "zq/foundation/transcoding.h"
#include "zq/foundation/zqstring.h"

/// Text as clients send it.
struct ZQ_EXPORT HttpUtils {
    /// Turns the bytes of a form value into text. What they cannot mean becomes U+FFFD, and a debug entry in
    /// the log then names the parameter. Exceptions of the transcoding pass, and leave rResult as it was.
    static void convertHttpInputToUnicode(const Transcoding& rTranscoding, const ZQWString& sParamName,
                                          const ZQNarrowString& sRaw, ZQWString& rResult);
};
