#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace webcontainer {

/// The current time as a Date field has it, formatted once a second. Belongs to one thread.
class DateCache {
public:
    /// Valid until the next call.
    std::string_view now();

private:
    std::time_t m_nFormatted = -1;
    std::string m_sText;
};

}  // namespace webcontainer
