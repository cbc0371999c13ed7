#pragma once

#include <string_view>

#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/stringbuffer.h"

/// Collects wide text, and keeps it as UTF-8: a quarter of the memory, and for a response in UTF-8 the work
/// is done. What is no Unicode scalar value is kept as U+FFFD, as every character set would show it. Text up
/// to 16383 bytes stays within the object.
class ZQ_EXPORT UnicodeBuffer {
public:
    void append(std::wstring_view s) {
        forgetMoved();
        W2NEncodingUTF8().encode(m_tUtf8, s);
    }
    void clear() noexcept {
        m_tUtf8.clear();
        forgetMoved();
    }
    bool empty() const noexcept { return getUtf8().empty(); }
    /// Valid until the next append().
    std::string_view getUtf8() const noexcept { return m_pMovedTo ? m_pMovedTo->view() : m_tUtf8.view(); }
    /// Appends the text as it was collected.
    void decodeTo(WideStringBufferBase& rBuffer) const { N2WEncodingUTF8().encode(rBuffer, getUtf8()); }

    /// Appends the UTF-8 to rBytes; a long text moves there without being copied when rBytes is empty and
    /// long as well. The text can still be read, until rBytes changes.
    void moveTo(NarrowStringBufferBase& rBytes) {
        if (rBytes.empty() && m_tUtf8.swapHeap(rBytes))
            m_pMovedTo = &rBytes;
        else
            rBytes.append(m_tUtf8.view());
    }
    /// Shows text that has moved no longer: what is appended from now on stands for itself.
    void forgetMoved() noexcept { m_pMovedTo = nullptr; }

private:
    StringBufferTemplate<16383, char> m_tUtf8;
    const NarrowStringBufferBase* m_pMovedTo = nullptr;  ///< where the text is, if not here any more
};
