#pragma once

#include <memory>
#include <string_view>

#include "zq/foundation/characterset.h"
#include "zq/foundation/stringbuffer.h"

struct UConverter;

/// What becomes of a character that the character set does not have.
enum class EUnmappable {
    kQuestionMark,       ///< "?"
    kCharacterReference  ///< "&#8364;", which HTML and XML readers show as the character
};

/// Turns one text, handed over in pieces cut anywhere, into bytes of a character set. What is no Unicode
/// scalar value counts as U+FFFD. UTF-8 and UTF-16 are converted without any allocation of its own.
class ZQ_EXPORT TextEncoder {
public:
    explicit TextEncoder(const Handle<const CharacterSet>& hCharset,
                         EUnmappable eUnmappable = EUnmappable::kQuestionMark);
    ~TextEncoder();
    TextEncoder(const TextEncoder&) = delete;
    TextEncoder& operator=(const TextEncoder&) = delete;

    const Handle<const CharacterSet>& getCharset() const noexcept { return m_hCharset; }
    /// Appends the bytes of the next piece.
    void encode(NarrowStringBufferBase& rBuffer, std::wstring_view s);
    /// Appends what brings a character set with shift states back to its first one; nothing for all others.
    void finish(NarrowStringBufferBase& rBuffer);

private:
    struct ConverterDeleter {
        void operator()(UConverter* p) const noexcept;
    };

    void openConverter();
    void encodeByIcu(NarrowStringBufferBase& rBuffer, std::wstring_view s, bool bLast);

    Handle<const CharacterSet> m_hCharset;
    EUnmappable m_eUnmappable;
    std::unique_ptr<UConverter, ConverterDeleter> m_pConverter;  ///< only for what ICU converts, once needed
};
