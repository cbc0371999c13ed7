#pragma once

#include <string_view>

#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/stringbuffer.h"
#include "zq/foundation/textencoder.h"

/// Collects wide text, and keeps it as UTF-8: a quarter of the memory, and for a response in UTF-8 the work
/// is done. What is no Unicode scalar value is kept as U+FFFD, as every character set would show it. Text up
/// to 16383 bytes stays within the object. Text can be read until clear(), also after it was encoded; each
/// character is encoded once.
class ZQ_EXPORT UnicodeBuffer {
public:
    void append(std::wstring_view s) {
        m_pMovedTo = nullptr;  // what is appended from now on stands for itself
        W2NEncodingUTF8().encode(m_tUtf8, s);
    }
    void clear() noexcept {
        m_tUtf8.clear();
        m_nEncoded = 0;
        m_pMovedTo = nullptr;
    }
    bool empty() const noexcept { return getUtf8().empty(); }
    /// Valid until the next append().
    std::string_view getUtf8() const noexcept { return m_pMovedTo ? m_pMovedTo->view() : m_tUtf8.view(); }
    /// Appends the text as it was collected.
    void decodeTo(WideStringBufferBase& rBuffer) const { N2WEncodingUTF8().encode(rBuffer, getUtf8()); }

    /// Appends to rBytes, by rEncoder, the text that was not encoded yet. What an exception leaves out can be
    /// encoded later.
    void encodeTo(NarrowStringBufferBase& rBytes, TextEncoder& rEncoder) {
        while (m_nEncoded != m_tUtf8.length())
            m_nEncoded += rEncoder.encodePiece(rBytes, m_tUtf8.view().substr(m_nEncoded));
    }
    /// The same in UTF-8: a long text moves without being copied when rBytes is empty and long as well. It
    /// can then be read until rBytes changes.
    void moveTo(NarrowStringBufferBase& rBytes) {
        if (rBytes.empty() && m_tUtf8.swapHeap(rBytes)) {
            m_pMovedTo = &rBytes;
        } else {
            rBytes.append(m_tUtf8.view().substr(m_nEncoded));
            m_nEncoded = m_tUtf8.length();
        }
    }

private:
    StringBufferTemplate<16383, char> m_tUtf8;
    std::size_t m_nEncoded = 0;                          ///< bytes at the front of m_tUtf8 that were encoded
    const NarrowStringBufferBase* m_pMovedTo = nullptr;  ///< where the text is, if not here any more
};
