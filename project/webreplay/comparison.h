#pragma once

#include <unicode/regex.h>

#include <ctime>
#include <string>
#include <vector>

#include "zq/memoryhost/memoryresponse.h"
#include "zq/recording/recording.h"

namespace webreplay {

/// What may differ between a response then and now.
struct Masks {
    std::vector<std::string> tHeaders{"Date"};  ///< names of header fields
    std::vector<icu::RegexPattern> tTexts{};    ///< found in one line of a body, or in the value of a field

    /// Adds to tTexts. Throws std::invalid_argument for what is no regular expression.
    void addText(const std::string& sRegex);
    /// The text with all of them taken out. Throws std::runtime_error when one cannot be matched.
    std::string apply(const std::string& sText) const;
};

/// What came of a recorded request, and of the same one now, which nBegin was the time of (Unix time, in
/// seconds). Empty: the same; else what the first difference is, in lines of text. Values of Expires and
/// Last-Modified may differ by the time between the two.
std::string compare(const Recording& rRecording, MemoryResponse tNow, std::time_t nBegin,
                    const Masks& rMasks);

}  // namespace webreplay
