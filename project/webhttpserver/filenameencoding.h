#pragma once

#include <cstddef>

#include "zq/foundation/stringbuffer.h"
#include "zq/foundation/zqstring.h"

namespace kiv {

/// Appends to rBuffer the text that stands between the quotes of a Content-Disposition header's file name.
///
/// Control characters and \ / : * ? " < > | ; # become underscores. A name of which every character is then
/// below 0x7F goes out as it is. Any other is encoded as a whole: with bRFC2047 as one RFC 2047 encoded word
/// over UTF-8 and base64, else percent-encoded (RFC 3986). A character that is no Unicode scalar value (a
/// surrogate, a negative value, one above U+10FFFF) makes a name one of the latter, and goes out as U+FFFD.
///
/// nMaxEncLen, in bytes, limits the encoded text, without the 12 bytes around an encoded word. A name that is
/// too long loses the characters in front of its last dot, so that the extension survives, or when the dot
/// stands too near its start, those at its end. rBuffer is appended to. Safe on any number of
/// threads.
void encodeAsFilename(bool bRFC2047, NarrowStringBufferBase& rBuffer, const ZQWString& sFilename,
                      std::size_t nMaxEncLen);

}  // namespace kiv
