#pragma once

#include <string_view>

#include "zq/foundation/exception.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/refcounted.h"
#include "zq/foundation/zqstring.h"

/// A character encoding, named by its label. Immutable, so handles to it may be shared between threads.
class ZQ_EXPORT CharacterSet : public RefCounted {
public:
    /// How text is converted: by this library's own encoders, or by ICU.
    enum class EKind { kUtf8, kUtf16LittleEndian, kUtf16BigEndian, kIcu };

    /// The character set of a label, case aside: "utf-8", "unicode" (UTF-16 little-endian), "unicodeFFFE"
    /// (UTF-16 big-endian), or any name or alias that ICU knows. Throws UnknownCharset for any other.
    static Handle<const CharacterSet> find(std::wstring_view sLabel);
    /// UTF-8, shared by everybody.
    static const Handle<const CharacterSet>& utf8();

    /// The label it was found by, as it stands in a Content-Type header.
    const ZQWString& getEncodingLabel() const noexcept { return m_sLabel; }
    EKind getKind() const noexcept { return m_eKind; }

    class ZQ_EXPORT UnknownCharset : public Exception {
    public:
        explicit UnknownCharset(std::wstring_view sLabel);
        UnknownCharset* clone() const override;
    };

private:
    CharacterSet(EKind eKind, const ZQWString& sLabel) noexcept : m_eKind(eKind), m_sLabel(sLabel) {}

    const EKind m_eKind;
    const ZQWString m_sLabel;
};
