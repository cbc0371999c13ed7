#include "zq/foundation/gdvalue.h"

#include "zq/foundation/messagefilesregistry.h"

void GDValue::appendTo(WideStringBufferBase& rBuffer) const {
    switch (m_eKind) {
        case EKind::kText:
            rBuffer.append(m_sText.view());
            break;
        case EKind::kUnsigned:
            appendDecimal(rBuffer, m_nValue);
            break;
        case EKind::kMessageKey:
            rBuffer.append(MessageFilesRegistry::getInstance().findMessage(m_sText).value_or(m_sText).view());
            break;
    }
}
