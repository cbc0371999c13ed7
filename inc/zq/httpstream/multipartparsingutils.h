#pragma once

#include <map>

#include "zq/foundation/zqstring.h"

/// The attributes of a composite header: name to value; names are ordered and looked up exactly.
using Headers = std::map<ZQWString, ZQWString>;

/// Headers of parts.
struct ZQ_EXPORT MultipartParsingUtils {
    /// Fills rAttributes with the attributes of a header such as
    ///     form-data; name="photo"; filename="C:\pictures\cat.jpg"
    /// and nothing else. Takes what clients send, in linear time, and never fails:
    /// - Names are folded to lower case (ASCII only): look them up that way. "filename*" (RFC 8187), which
    ///   RFC 7578 section 4.2 forbids in form data, stands under its own name, undecoded.
    /// - In quotes, \" is a quotation mark, unless it must be the end of the value: no other one follows, or
    ///   all that follows is well-formed as it is, namely nothing or attributes, each behind ";", with a
    ///   token (RFC 9110 section 5.6.2) for a name and a value that has no quotation mark or stands in
    ///   quotes, by this same rule. Browsers send a value that ends in a backslash that way, while name="x\";
    ///   name=y" is one value, as y" would be none. Every other backslash stands for itself, as in Windows
    ///   paths. Percent escapes stay as they are.
    /// - A value without quotes goes to the next semicolon; white space inside it is kept.
    /// - White space around names and values, empty attributes, what stands without "=" (the main value too),
    ///   and what follows a closing quote are ignored.
    /// - Attributes may follow a comma too, as in the first forms that browsers sent (RFC 1867 section 6);
    ///   commas in values are kept.
    /// - Of a repeated attribute the first one counts (as in the WHATWG's parsing of media types), so that
    ///   nothing appended to a header changes what is said before.
    static void parseCompositeHeader(const ZQWString& sHeader, Headers& rAttributes);
};
