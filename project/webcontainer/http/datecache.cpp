#include "http/datecache.h"

#include "zq/foundation/utf8text.h"
#include "zq/httpstream/httpdateutils.h"

namespace webcontainer {

std::string_view DateCache::now() {
    timespec tNow{};
    clock_gettime(CLOCK_REALTIME_COARSE, &tNow);
    if (tNow.tv_sec != m_nFormatted) {
        StringBuffer tText;
        HttpDateUtils::formatHttpDate(tText, tNow.tv_sec);
        m_sText = toUtf8(tText.view());
        m_nFormatted = tNow.tv_sec;
    }
    return m_sText;
}

}  // namespace webcontainer
