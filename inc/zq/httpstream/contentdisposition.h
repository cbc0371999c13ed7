#pragma once

#include "zq/foundation/zqexport.h"
#include "zq/foundation/zqstring.h"

/// How a client is to treat a response (RFC 6266): show it, or offer to save it, and under which name.
class ZQ_EXPORT ContentDisposition {
public:
    enum EDisposition { kNone = 0, kAttachment = 1, kInline = 2 };

    ContentDisposition() noexcept = default;
    /// sFilename may hold any characters; what browsers cannot take is replaced when it is sent.
    explicit ContentDisposition(EDisposition eDisposition, const ZQWString& sFilename = {}) noexcept
        : m_eDisposition(eDisposition),
          m_sFilename(sFilename) {}

    EDisposition getDisposition() const noexcept { return m_eDisposition; }
    /// "attachment", "inline" (RFC 6266 section 4.2), or nothing for kNone.
    ZQWString getDispositionAsString() const;
    bool hasFilename() const noexcept { return !m_sFilename.empty(); }
    const ZQWString& getFilename() const noexcept { return m_sFilename; }

private:
    EDisposition m_eDisposition = kNone;
    ZQWString m_sFilename;
};
