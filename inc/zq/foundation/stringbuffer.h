#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "zq/foundation/zqexport.h"
#include "zq/foundation/zqstring.h"

/// A growable buffer of characters, always followed by a NUL. This base is what functions take; the storage
/// inside the object comes from StringBufferTemplate. Operations that may grow throw std::bad_alloc or
/// std::length_error and leave the contents as they were. Sizes and positions are in characters.
/// Not copyable: a buffer is filled in place and handed on as a view or a string.
template <class CharT>
class ZQ_EXPORT StringBufferBaseTemplate {
public:
    using View = std::basic_string_view<CharT>;

    StringBufferBaseTemplate(const StringBufferBaseTemplate&) = delete;
    StringBufferBaseTemplate& operator=(const StringBufferBaseTemplate&) = delete;

    /// Valid until the next operation that may grow the buffer.
    const CharT* c_str() const noexcept { return m_p; }
    const CharT* data() const noexcept { return m_p; }
    /// The text for changing in place; the NUL behind it must stay.
    CharT* getText() noexcept { return m_p; }
    View view() const noexcept { return {m_p, m_nLength}; }
    ZQStringTemplate<CharT> toString() const { return {m_p, m_nLength}; }
    std::size_t length() const noexcept { return m_nLength; }
    std::size_t capacity() const noexcept { return m_nCapacity; }
    bool empty() const noexcept { return m_nLength == 0; }
    CharT operator[](std::size_t n) const noexcept { return m_p[n]; }

    /// Empties the buffer and keeps its storage.
    void clear() noexcept { setLength(0); }
    /// Makes room for nCapacity characters in all.
    void reserve(std::size_t nCapacity) {
        if (nCapacity > m_nCapacity) grow(nCapacity);
    }
    /// Appends; the characters must not lie within this buffer.
    void append(const CharT* p, std::size_t nLength) {
        std::char_traits<CharT>::copy(getAppendBuffer(nLength), p, nLength);
        commitAppendBuffer(nLength);
    }
    void append(View s) { append(s.data(), s.size()); }
    /// Appends one text after the other, or nothing when there is no room.
    template <std::convertible_to<View>... Texts>
    void appendAll(const Texts&... rTexts) {
        const auto fAppend = [this](const auto&... rViews) {
            CharT* p = getAppendBuffer((rViews.size() + ...));
            ((std::char_traits<CharT>::copy(p, rViews.data(), rViews.size()), p += rViews.size()), ...);
            commitAppendBuffer((rViews.size() + ...));
        };
        fAppend(View(rTexts)...);
    }
    void append(CharT c) {
        *getAppendBuffer(1) = c;
        commitAppendBuffer(1);
    }
    /// Removes nCount characters from nPos on; both must lie within the text.
    void erase(std::size_t nPos, std::size_t nCount) noexcept {
        std::char_traits<CharT>::move(m_p + nPos, m_p + nPos + nCount, m_nLength - nPos - nCount);
        setLength(m_nLength - nCount);
    }
    /// Keeps the first nLength characters; nLength must not exceed length().
    void truncate(std::size_t nLength) noexcept { setLength(nLength); }

    /// Exchanges the texts without copying them when neither lies inside its object; false: nothing was done.
    bool swapHeap(StringBufferBaseTemplate& r) noexcept {
        if (!m_pHeap || !r.m_pHeap) return false;
        m_pHeap.swap(r.m_pHeap);
        std::swap(m_p, r.m_p);
        std::swap(m_nLength, r.m_nLength);
        std::swap(m_nCapacity, r.m_nCapacity);
        return true;
    }

    /// Makes room for at least nRoom more characters and returns where they go. What is written there counts
    /// only after commitAppendBuffer().
    CharT* getAppendBuffer(std::size_t nRoom) {
        if (nRoom > m_nCapacity - m_nLength) growBy(nRoom);
        return m_p + m_nLength;
    }
    /// How many characters fit behind the text without growing.
    std::size_t appendBufferCapacity() const noexcept { return m_nCapacity - m_nLength; }
    /// Takes the first nWritten characters of the append buffer into the text.
    void commitAppendBuffer(std::size_t nWritten) noexcept { setLength(m_nLength + nWritten); }

protected:
    /// pInline: nCapacity + 1 characters that live as long as this object.
    StringBufferBaseTemplate(CharT* pInline, std::size_t nCapacity) noexcept
        : m_p(pInline),
          m_nCapacity(nCapacity) {
        *m_p = CharT();
    }
    ~StringBufferBaseTemplate() = default;

private:
    static constexpr std::size_t s_knMost = std::numeric_limits<std::size_t>::max() / sizeof(CharT) / 2;

    void setLength(std::size_t nLength) noexcept {
        m_nLength = nLength;
        m_p[nLength] = CharT();
    }
    void growBy(std::size_t nRoom) {
        if (nRoom > s_knMost - m_nLength) throw std::length_error("StringBuffer: text too long");
        grow(std::max(m_nLength + nRoom, m_nCapacity + m_nCapacity / 2));
    }
    void grow(std::size_t nCapacity) {
        if (nCapacity > s_knMost) throw std::length_error("StringBuffer: text too long");
        auto pNew = std::make_unique_for_overwrite<CharT[]>(nCapacity + 1);
        std::char_traits<CharT>::copy(pNew.get(), m_p, m_nLength + 1);
        m_pHeap = std::move(pNew);
        m_p = m_pHeap.get();
        m_nCapacity = nCapacity;
    }

    CharT* m_p;
    std::size_t m_nLength = 0;
    std::size_t m_nCapacity;
    std::unique_ptr<CharT[]> m_pHeap;
};

/// The storage inside the object; a base of its own, so that it exists before the buffer that uses it.
template <std::size_t nInline, class CharT>
struct ZQ_EXPORT StringBufferStorage {
    CharT m_tInline[nInline + 1];
};

/// A buffer with room for nInline characters, and the NUL, inside the object; beyond that it uses the heap.
template <std::size_t nInline, class CharT>
class ZQ_EXPORT StringBufferTemplate : private StringBufferStorage<nInline, CharT>,
                                       public StringBufferBaseTemplate<CharT> {
public:
    StringBufferTemplate() noexcept : StringBufferBaseTemplate<CharT>(this->m_tInline, nInline) {}
};

/// A buffer whose text becomes a string without a copy unless it outgrows the room that it is given. That
/// string keeps the whole room.
template <class CharT>
class ZQ_EXPORT StringMakerTemplate : private ZQStringTemplate<CharT>::Room,
                                      public StringBufferBaseTemplate<CharT> {
    using Room = typename ZQStringTemplate<CharT>::Room;

public:
    explicit StringMakerTemplate(std::size_t nRoom)
        : Room(nRoom),
          StringBufferBaseTemplate<CharT>(Room::text(), nRoom) {}

    /// The text. Ends the use of this object.
    ZQStringTemplate<CharT> takeString() {
        const bool bInPlace = this->data() == Room::text() && !this->empty();
        return bInPlace ? Room::take(this->length()) : this->toString();
    }
};

using NarrowStringBufferBase = StringBufferBaseTemplate<char>;
using WideStringBufferBase = StringBufferBaseTemplate<wchar_t>;
using NarrowStringBuffer = StringBufferTemplate<511, char>;
using StringBuffer = StringBufferTemplate<511, wchar_t>;
using StringMaker = StringMakerTemplate<wchar_t>;

/// Appends nValue in decimal.
template <class CharT>
void appendDecimal(StringBufferBaseTemplate<CharT>& rBuffer, unsigned long long nValue) {
    CharT tDigits[20];
    CharT* p = std::end(tDigits);
    do {
        *--p = static_cast<CharT>('0' + nValue % 10);
        nValue /= 10;
    } while (nValue != 0);
    rBuffer.append(p, static_cast<std::size_t>(std::end(tDigits) - p));
}
