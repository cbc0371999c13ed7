#include "zq/httpstream/contentdisposition.h"

ZQWString ContentDisposition::getDispositionAsString() const {
    static const ZQWString s_ksAttachment = ZQWString::eternal(L"attachment");
    static const ZQWString s_ksInline = ZQWString::eternal(L"inline");
    switch (m_eDisposition) {
        case kAttachment:
            return s_ksAttachment;
        case kInline:
            return s_ksInline;
        case kNone:
            break;
    }
    return {};
}
