#pragma once

#include <compare>
#include <cstddef>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "zq/foundation/refcount.h"
#include "zq/foundation/zqexport.h"

/// An immutable text: one pointer to a shared block of reference count, length and characters.
/// Copying shares the block; the count is atomic, so copies may live in different threads. Assigning to one
/// object from two threads at once needs a lock of the caller's, as for any value. The empty text has no
/// block, so that making, copying and destroying it touches no memory.
template <class CharT>
class ZQ_EXPORT ZQStringTemplate {
public:
    using View = std::basic_string_view<CharT>;

    ZQStringTemplate() noexcept = default;
    /// Copies a NUL-terminated text. Throws std::bad_alloc.
    ZQStringTemplate(const CharT* p) : ZQStringTemplate(View(p)) {}
    /// Copies nLength characters, NULs among them. Throws std::bad_alloc, std::length_error.
    ZQStringTemplate(const CharT* p, std::size_t nLength) : ZQStringTemplate(View(p, nLength)) {}
    explicit ZQStringTemplate(View s) : m_pBlock(s.empty() ? nullptr : makeBlock(s)) {}
    /// A constant: its characters are never freed, nor are the strings that share them counted.
    static ZQStringTemplate eternal(View s) {
        ZQStringTemplate sText(s);
        if (sText.m_pBlock) sText.m_pBlock->m_tRefs.makeEternal();
        return sText;
    }
    ZQStringTemplate(const ZQStringTemplate& r) noexcept : m_pBlock(r.m_pBlock) {
        if (m_pBlock) m_pBlock->m_tRefs.add();
    }
    ZQStringTemplate(ZQStringTemplate&& r) noexcept : m_pBlock(std::exchange(r.m_pBlock, nullptr)) {}
    ~ZQStringTemplate() { release(); }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): copy and swap
    ZQStringTemplate& operator=(const ZQStringTemplate& r) noexcept {
        ZQStringTemplate(r).swap(*this);
        return *this;
    }
    ZQStringTemplate& operator=(ZQStringTemplate&& r) noexcept {
        ZQStringTemplate(std::move(r)).swap(*this);
        return *this;
    }
    /// Replaces the text by a copy of nLength characters, which may lie within this very text.
    void assign(const CharT* p, std::size_t nLength) { ZQStringTemplate(p, nLength).swap(*this); }
    void swap(ZQStringTemplate& r) noexcept { std::swap(m_pBlock, r.m_pBlock); }

    /// Never null; a NUL follows the last character. Valid until this object is assigned to or destroyed.
    const CharT* c_str() const noexcept { return m_pBlock ? m_pBlock->text() : &s_cEmpty; }
    const CharT* data() const noexcept { return c_str(); }
    std::size_t length() const noexcept { return m_pBlock ? m_pBlock->m_nLength : 0; }
    bool empty() const noexcept { return m_pBlock == nullptr; }
    const CharT* begin() const noexcept { return c_str(); }
    const CharT* end() const noexcept { return c_str() + length(); }
    CharT operator[](std::size_t n) const noexcept { return c_str()[n]; }
    View view() const noexcept { return {c_str(), length()}; }
    operator View() const noexcept { return view(); }

    friend bool operator==(const ZQStringTemplate& a, const ZQStringTemplate& b) noexcept {
        return a.m_pBlock == b.m_pBlock || a.view() == b.view();
    }
    friend bool operator==(const ZQStringTemplate& a, View b) noexcept { return a.view() == b; }
    friend bool operator==(const ZQStringTemplate& a, const CharT* b) noexcept { return a.view() == b; }
    friend auto operator<=>(const ZQStringTemplate& a, const ZQStringTemplate& b) noexcept {
        return a.view().compare(b.view()) <=> 0;
    }

    /// Memory in which a text of at most nRoom characters is written before it is a string.
    class ZQ_EXPORT Room {
    public:
        explicit Room(std::size_t nRoom) { m_sText.m_pBlock = makeBlock(nRoom); }
        /// nRoom characters and a NUL.
        CharT* text() noexcept { return m_sText.m_pBlock->text(); }
        /// The first nLength characters, at least one, behind which a NUL was written; the room has gone
        /// then.
        ZQStringTemplate take(std::size_t nLength) noexcept {
            m_sText.m_pBlock->m_nLength = nLength;
            return std::move(m_sText);
        }

    private:
        ZQStringTemplate m_sText;
    };

private:
    struct Block {
        RefCount m_tRefs{1};
        std::size_t m_nLength;

        explicit Block(std::size_t nLength) noexcept : m_nLength(nLength) {}
        CharT* text() noexcept { return reinterpret_cast<CharT*>(this + 1); }
    };

    static Block* makeBlock(std::size_t nLength) {
        constexpr std::size_t knMost =
            (std::numeric_limits<std::size_t>::max() - sizeof(Block)) / sizeof(CharT) - 1;
        if (nLength > knMost) throw std::length_error("ZQString: text too long");
        auto* pBlock = new (::operator new(sizeof(Block) + (nLength + 1) * sizeof(CharT))) Block(nLength);
        pBlock->text()[nLength] = CharT();
        return pBlock;
    }
    static Block* makeBlock(View s) {
        Block* const pBlock = makeBlock(s.size());
        std::char_traits<CharT>::copy(pBlock->text(), s.data(), s.size());
        return pBlock;
    }

    void release() noexcept {
        if (m_pBlock && m_pBlock->m_tRefs.drop()) {
            m_pBlock->~Block();
            ::operator delete(m_pBlock);
        }
    }

    static constexpr CharT s_cEmpty = CharT();

    Block* m_pBlock = nullptr;
};

/// Wide text: one code point in each wchar_t (4 bytes). What came from header bytes above 0x7F is negative.
using ZQWString = ZQStringTemplate<wchar_t>;
/// Bytes, mostly text in some encoding that the context names.
using ZQNarrowString = ZQStringTemplate<char>;
