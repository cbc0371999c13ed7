#pragma once

#include <string_view>

#include "zq/foundation/exception.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/refcounted.h"
#include "zq/foundation/zqstring.h"

/// A character encoding, named by its label. Immutable, so handles to it may be shared between threads.
///
/// ICU converts what this library does not convert itself, but for these kinds of converter, which have no
/// place in HTTP and are refused like labels that nobody knows:
///  - UTF-7 and EBCDIC: a reader that does not know the character set, a filter for instance, takes their
///    bytes for other ASCII text than they stand for, markup included.
///  - Those that shift between states in other ways than ISO-2022 (HZ, ISCII, LMBCS, IMAP's mailbox names):
///    what a byte means depends on all before it, and no browser reads them.
///  - Compression schemes (SCSU, BOCU-1): their bytes depend on the pieces in which a text is written.
///  - Compound text, for which ICU's converter cannot replace a character that it lacks.
class ZQ_EXPORT CharacterSet : public RefCounted {
public:
    /// How text is converted: by this library's own encoders, or by ICU.
    enum class EKind { kUtf8, kUtf16LittleEndian, kUtf16BigEndian, kIcu };

    /// The character set of a label, case aside: "unicode" (UTF-16 little-endian), "unicodeFFFE" (UTF-16
    /// big-endian), or any name or alias that ICU knows. A label has ASCII letters, digits and -_.:+ only, so
    /// that it can stand in a header. Throws UnknownCharset for any other.
    static Handle<const CharacterSet> find(std::wstring_view sLabel);
    /// The character set that browsers mean by a label (WHATWG Encoding, section 4.2): iso-8859-1, for
    /// instance, is windows-1252. For text that clients send. Throws UnknownCharset for labels that the
    /// standard does not list, and for those of its encodings that no form can be in: "replacement",
    /// x-user-defined, and iso-8859-16, which ICU lacks.
    static Handle<const CharacterSet> findForClient(std::wstring_view sLabel);
    /// UTF-8, shared by everybody.
    static const Handle<const CharacterSet>& utf8();

    /// The label it was found by, as it stands in a Content-Type header.
    const ZQWString& getEncodingLabel() const noexcept { return m_sLabel; }
    EKind getKind() const noexcept { return m_eKind; }
    /// ICU's name of the converter; empty for the kinds that need none.
    const ZQNarrowString& getConverterName() const noexcept { return m_sConverter; }
    /// Whether both convert alike, whatever they are called.
    bool isSameAs(const CharacterSet& r) const noexcept {
        return m_eKind == r.m_eKind && m_sConverter == r.m_sConverter;
    }

    /// No character set has this label, or it cannot be opened.
    class ZQ_EXPORT UnknownCharset : public ClonedException<UnknownCharset> {
    public:
        explicit UnknownCharset(std::wstring_view sLabel);
    };

private:
    CharacterSet(EKind eKind, const ZQWString& sLabel, std::string_view sConverter = {})
        : m_eKind(eKind),
          m_sLabel(sLabel),
          m_sConverter(sConverter) {}
    static Handle<const CharacterSet> open(std::wstring_view sLabel, std::string_view sName);

    const EKind m_eKind;
    const ZQWString m_sLabel;
    const ZQNarrowString m_sConverter;
};
