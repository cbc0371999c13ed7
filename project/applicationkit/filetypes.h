#pragma once

#include <string>
#include <string_view>

namespace kit {

/// The media type of a lower-case ending without its dot: as the system's table (/etc/mime.types) has it, or
/// else as the short one of this library; null when neither has it. The table is read once.
const std::string* findFileType(std::string_view sEnding);

}  // namespace kit
