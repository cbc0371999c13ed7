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

    /// Whether this is an encoder into that very character set, with that treatment of what it lacks.
    bool isFor(const Handle<const CharacterSet>& hCharset, EUnmappable eUnmappable) const noexcept {
        return m_hCharset == hCharset && m_eUnmappable == eUnmappable;
    }
    /// Appends the bytes of the next piece.
    void encode(NarrowStringBufferBase& rBuffer, std::wstring_view s);
    /// The same for a piece that is kept as well-formed UTF-8, cut between characters.
    void encodeUtf8(NarrowStringBufferBase& rBuffer, std::string_view s);
    /// Ends the text: appends what a character set with shift states needs to be back in its first one, or a
    /// character that might have joined with one to come. Most character sets have neither.
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
