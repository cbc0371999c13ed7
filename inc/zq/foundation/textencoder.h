#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "zq/foundation/characterset.h"
#include "zq/foundation/stringbuffer.h"

struct UConverter;

/// What becomes of a character that the character set does not have.
enum class EUnmappable {
    kQuestionMark,       ///< "?", or what the character set itself has for it where "?" is missing too
    kCharacterReference  ///< "&#8364;", which HTML and XML readers show as the character; "?" where the
                         ///< character set cannot write that
};

/// Turns one text, handed over in pieces cut anywhere between characters, into bytes of a character set.
/// UTF-8 and UTF-16 are converted without any allocation of its own.
class ZQ_EXPORT TextEncoder {
public:
    explicit TextEncoder(const Handle<const CharacterSet>& hCharset);
    ~TextEncoder();
    TextEncoder(const TextEncoder&) = delete;
    TextEncoder& operator=(const TextEncoder&) = delete;

    /// Whether this is an encoder into that character set, by whatever label.
    bool isFor(const CharacterSet& rCharset) const noexcept { return m_hCharset->isSameAs(rCharset); }
    /// What becomes from now on of characters that the set lacks; at first kQuestionMark.
    void setUnmappable(EUnmappable eUnmappable) noexcept;
    /// Appends the bytes of as many characters as it takes at once and returns how many bytes of sUtf8, which
    /// must be well-formed and not empty, those were. An exception (std::bad_alloc, std::length_error,
    /// CharacterSet::UnknownCharset) has taken and appended nothing.
    std::size_t encodePiece(NarrowStringBufferBase& rBuffer, std::string_view sUtf8);
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
    EUnmappable m_eUnmappable = EUnmappable::kQuestionMark;
    bool m_bWritesReferences = false;  ///< the open converter has all characters of a reference
    std::unique_ptr<UConverter, ConverterDeleter> m_pConverter;  ///< only for what ICU converts, once needed
};
