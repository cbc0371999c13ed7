#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <string_view>
#include <type_traits>

#include "zq/httpstream/zqhttpstream.h"

namespace kit {

/// Markup as it stands in the source: only constants become one.
class ZQ_EXPORT Markup {
public:
    template <std::size_t n>
    consteval Markup(const wchar_t (&s)[n]) : m_s(s, n - 1) {}
    constexpr std::wstring_view view() const noexcept { return m_s; }

private:
    std::wstring_view m_s;
};

/// Text that is written as it is. Whoever reviews a page looks for this word.
struct ZQ_EXPORT Unescaped {
    explicit constexpr Unescaped(std::wstring_view sMarkup) noexcept : s(sMarkup) {}
    std::wstring_view s;
};

namespace detail {

/// What becomes of a value where a template has it.
enum class EPlace : unsigned char {
    kText,     ///< between tags, or in a quoted attribute
    kUrl,      ///< a whole URL: no script
    kUrlPart,  ///< a component of one
};

/// A pair of braces in a template.
struct Placeholder {
    std::size_t nAt = 0;
    EPlace ePlace = EPlace::kText;
};

/// Follows markup, as far as it must to tell where a value would stand; for compile time. What browsers read
/// in a way that this does not follow throws, so that the template does not compile.
class MarkupScanner {
public:
    enum class EState { kText, kTag, kValue, kRaw };

    constexpr void take(wchar_t c) {
        switch (m_eState) {
            case EState::kText:
                if (c == L'<') startTag();
                break;
            case EState::kTag:
                takeInTag(c);
                break;
            case EState::kValue:
                m_bValueEmpty = false;
                if (c > L' ') m_tValue.add(c);
                if (c == L'>' && !isLetter(m_tTag.t[0])) throw "a > in a declaration";
                if (c != m_cQuote) break;
                m_eState = EState::kTag;
                startName();
                break;
            case EState::kRaw:
                takeRaw(c);
        }
        m_cBefore = c;
    }
    /// Where a value would stand; throws where none may.
    constexpr EPlace place() const {
        if (m_eState == EState::kTag) throw "a value in a tag must be that of an attribute in quotes";
        if (m_eState == EState::kRaw)
            throw "a value in a script, style or comment: escape it and write it unescaped";
        if (m_eState == EState::kValue && isCode())
            throw "a value in an attribute that is a script or markup";
        if (m_eState == EState::kText || !isUrl()) return EPlace::kText;
        return m_bValueEmpty ? EPlace::kUrl : EPlace::kUrlPart;
    }
    constexpr bool isBetweenTags() const { return m_eState == EState::kText; }
    constexpr void takeValue() { m_bValueEmpty = false; }

private:
    static constexpr wchar_t lower(wchar_t c) {
        return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
    }
    static constexpr bool isLetter(wchar_t c) { return lower(c) >= L'a' && lower(c) <= L'z'; }

    /// The first few characters of a name, which is all that is compared.
    struct Word {
        wchar_t t[13] = {};
        std::size_t n = 0;
        constexpr void add(wchar_t c) {
            if (n < 12) t[n] = lower(c);
            ++n;
        }
        constexpr bool is(std::wstring_view s) const {
            return n == s.size() && std::equal(s.begin(), s.end(), t);
        }
    };

    constexpr void startTag() {
        m_eState = EState::kTag;
        m_tTag = {};
        m_bTagRead = false;
        startName();
    }
    constexpr void startName() {
        m_tName = {};
        m_bAssigned = false;
    }
    constexpr void startRaw(std::wstring_view sEnd, std::size_t nTaken) {
        m_eState = EState::kRaw;
        m_sRawEnd = sEnd;
        m_nRawEnd = nTaken;
    }
    constexpr void takeInTag(wchar_t c) {
        if ((m_cBefore == L'<' && !isLetter(c) && c != L'/' && c != L'!' && c != L'?') ||
            (m_cBefore == L'/' && m_tTag.is(L"/") && !isLetter(c)))
            throw "a < that begins no tag must be &lt;";
        if (m_cBefore == L'/' && c != L'>' && m_tTag.t[0] != L'/') throw "a slash amid a tag";
        const bool bQuote = c == L'"' || c == L'\'';
        if ((bQuote && m_cBefore != L'=') || (c <= L' ' && m_cBefore == L'=') ||
            (c == L'=' && (m_tName.n == 0 || m_bAssigned)))
            throw "an attribute must be written as name=\"value\"";
        if (c == L'>') {
            endTag();
        } else if (bQuote) {
            m_eState = EState::kValue;
            m_cQuote = c;
            m_bValueEmpty = true;
            m_tValue = {};
        } else if (c <= L' ') {
            m_bTagRead = true;
            startName();
        } else if (c == L'=') {
            m_bAssigned = true;
        } else if (m_bTagRead) {
            m_tName.add(c);
        } else if (c != L'/' || m_tTag.n == 0) {
            m_tTag.add(c);
            if (m_tTag.is(L"!--")) startRaw(L"-->", 2);  // the same dashes can end it
        }
    }
    constexpr void endTag() {
        if (m_tTag.is(L"script"))
            startRaw(L"</script", 0);
        else if (m_tTag.is(L"style"))
            startRaw(L"</style", 0);
        else
            m_eState = EState::kText;
    }
    constexpr void takeRaw(wchar_t c) {
        if (m_nRawEnd == m_sRawEnd.size()) {
            m_nRawEnd = 0;
            if (c == L'>' || c <= L' ') {
                startTag();
                m_tTag.add(L'/');
                return takeInTag(c);
            }
        }
        if (lower(c) == m_sRawEnd[m_nRawEnd])
            ++m_nRawEnd;
        else  // of any number of dashes the last two count
            m_nRawEnd = c != m_sRawEnd[0] ? 0 : c == L'-' ? 2 : 1;
        if (c == L'>' && m_nRawEnd == m_sRawEnd.size()) m_eState = EState::kText;
    }
    constexpr bool isCode() const {
        return (m_tName.t[0] == L'o' && m_tName.t[1] == L'n') || m_tName.is(L"style") ||
               m_tName.is(L"srcdoc") || m_tName.is(L"srcset") ||
               (isUrl() && std::wstring_view(m_tValue.t).starts_with(L"javascript:"));
    }
    constexpr bool isUrl() const {
        return m_tName.is(L"href") || m_tName.is(L"src") || m_tName.is(L"action") ||
               m_tName.is(L"formaction") || m_tName.is(L"poster") || m_tName.is(L"data") ||
               m_tName.is(L"cite") || m_tName.is(L"xlink:href");
    }

    EState m_eState = EState::kText;
    Word m_tTag, m_tName, m_tValue;
    bool m_bTagRead = false, m_bAssigned = false, m_bValueEmpty = true;
    wchar_t m_cQuote = 0, m_cBefore = 0;
    std::wstring_view m_sRawEnd;  ///< of a script, style or comment: what ends it
    std::size_t m_nRawEnd = 0;    ///< how much of that has come
};

/// A text with places for nValues values, looked at when it is compiled.
template <std::size_t nValues>
class MarkupTemplate {
public:
    template <std::size_t n>
    consteval MarkupTemplate(const wchar_t (&s)[n]) : m_s(s, n - 1) {
        MarkupScanner tScanner;
        std::size_t nFound = 0;
        for (std::size_t nAt = 0; nAt + 1 < n; ++nAt) {
            if (s[nAt] == L'{' && s[nAt + 1] == L'}') {
                if (nFound == nValues) throw "there are more {} than values";
                m_tPlaceholders[nFound++] = {nAt, tScanner.place()};
                tScanner.takeValue();
                ++nAt;
            } else {
                tScanner.take(s[nAt]);
            }
        }
        if (nFound != nValues) throw "there are more values than {}";
        if (!tScanner.isBetweenTags()) throw "a template must end between tags";
    }
    std::wstring_view view() const noexcept { return m_s; }
    const Placeholder* places() const noexcept { return m_tPlaceholders.data(); }

private:
    std::wstring_view m_s;
    std::array<Placeholder, nValues> m_tPlaceholders;
};

}  // namespace detail

/// Writes HTML, or XML, to a stream, and escapes everything that is no constant of the program.
///
///     kit::HtmlWriter tHtml(rStream);
///     tHtml.markup(L"<!DOCTYPE html>\n<title>Search</title>\n");
///     tHtml.write(L"<p title=\"{}\">You look for {}.</p>\n", sWhat, sWhat);
///     tHtml.write(L"<a href=\"/find?page={}&amp;what={}\">more</a>\n", nPage + 1, sWhat);
///     tHtml.unescaped(L"<!-- the word for a reviewer to look for -->\n");
///
/// In a template of write(), each "{}" takes one value: a text, a whole number, or an Unescaped. It may
/// stand between tags and in attributes in quotes. In an attribute that takes a URL (href, src, action ...)
/// a value that comes first is the URL, or "about:invalid" in its place when its scheme is none of http,
/// https and mailto, so that no script is run; a later one is a component and percent-encoded. A value
/// anywhere else, in an attribute that is itself a script, a style or markup (onclick, style, srcdoc,
/// href="javascript:..." and the like) too, a template that ends within a tag or a script, one with
/// attributes that are written otherwise than name="value", name='value', name=word or name, or another
/// number of values than of "{}" does not compile.
///
/// Holds nothing but the stream, which must outlive it and be in the format and character set that are
/// wanted. Throws what the stream throws.
class ZQ_EXPORT HtmlWriter {
public:
    explicit HtmlWriter(ZQHttpStream& rStream) noexcept : m_rStream(rStream) {}

    ZQHttpStream& getStream() const noexcept { return m_rStream; }

    HtmlWriter& markup(Markup tMarkup) {
        m_rStream.addText(tMarkup.view());
        return *this;
    }
    /// Text from anywhere, for between tags and in quoted attributes.
    HtmlWriter& text(std::wstring_view sText);
    /// Markup that is no constant, as it is: nothing in it may come from outside.
    HtmlWriter& unescaped(std::wstring_view sMarkup) {
        m_rStream.addText(sMarkup);
        return *this;
    }
    template <class... Values>
    HtmlWriter& write(std::type_identity_t<detail::MarkupTemplate<sizeof...(Values)>> tTemplate,
                      const Values&... rValues) {
        const std::array<Value, sizeof...(Values)> tValues{Value(rValues)...};
        writeAll(tTemplate.view(), tTemplate.places(), tValues.data(), tValues.size());
        return *this;
    }

private:
    /// A value of a template, converted to text if it is a number.
    class ZQ_EXPORT Value {
    public:
        template <std::convertible_to<std::wstring_view> T>
        explicit Value(const T& rText) noexcept : m_s(rText) {}
        explicit Value(const Unescaped& r) noexcept : m_s(r.s), m_bUnescaped(true) {}
        template <std::integral T>
        requires(!std::same_as<T, bool> && !std::same_as<T, char> &&
                 !std::same_as<T, wchar_t>) explicit Value(T n) noexcept
            : m_s(toDigits(n < 0, magnitude(n))) {}
        Value(const Value&) = delete;
        Value& operator=(const Value&) = delete;

        std::wstring_view text() const noexcept { return m_s; }
        bool isUnescaped() const noexcept { return m_bUnescaped; }

    private:
        template <std::integral T>
        static unsigned long long magnitude(T n) noexcept {
            const auto nBits = static_cast<unsigned long long>(n);
            return n < 0 ? 0 - nBits : nBits;
        }
        std::wstring_view toDigits(bool bNegative, unsigned long long n) noexcept;

        wchar_t m_tDigits[21];
        std::wstring_view m_s;
        bool m_bUnescaped = false;
    };

    void writeAll(std::wstring_view sTemplate, const detail::Placeholder* pPlaces, const Value* pValues,
                  std::size_t nValues);

    ZQHttpStream& m_rStream;
};

}  // namespace kit
