#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "zq/foundation/inputstream.h"

/// The stretch of an input stream that its reader looks at, in a buffer of fixed size: bytes come in at the
/// back and are dropped at the front. A body of any length costs as much memory, and few calls of its
/// source. Its owner drops enough that there is room for what it waits for.
class InputWindow {
public:
    static constexpr std::size_t s_knCapacity = std::size_t{256} * 1024;

    /// sBefore stands before the stream's first byte.
    InputWindow(const Handle<InputStream>& hInput, std::string_view sBefore) : m_hInput(hInput) {
        m_nEnd = sBefore.copy(m_tBytes, s_knCapacity);
    }

    /// What has come and was not dropped. Valid until the next readMore().
    std::string_view view() const noexcept { return {m_tBytes + m_nBegin, m_nEnd - m_nBegin}; }
    /// nCount must not exceed the size of the view.
    void drop(std::size_t nCount) noexcept { m_nBegin += nCount; }
    /// Whether the input has ended; it is not asked again then.
    bool hasEnded() const noexcept { return m_bEnded; }
    /// Waits for more input. False: it has ended. There must be room: a view smaller than the capacity.
    bool readMore() {
        if (m_bEnded) return false;
        if (m_nBegin == m_nEnd || m_nEnd == s_knCapacity) moveToFront();
        const std::size_t nRead = m_hInput->readBytes(m_tBytes + m_nEnd, s_knCapacity - m_nEnd);
        m_nEnd += nRead;
        m_bEnded = nRead == 0;
        return !m_bEnded;
    }

    /// Waits for input that goes elsewhere, while there is none in view; 0: it has ended.
    std::size_t readPast(char* p, std::size_t nSize) {
        if (m_bEnded) return 0;
        const std::size_t nRead = m_hInput->readBytes(p, nSize);
        m_bEnded = nRead == 0;
        return nRead;
    }
    /// Shows bytes while there are none in view; no more than the capacity.
    void show(std::string_view s) noexcept {
        m_nBegin = 0;
        m_nEnd = s.copy(m_tBytes, s_knCapacity);
    }

private:
    void moveToFront() noexcept {
        std::memmove(m_tBytes, m_tBytes + m_nBegin, m_nEnd - m_nBegin);
        m_nEnd -= m_nBegin;
        m_nBegin = 0;
    }

    const Handle<InputStream> m_hInput;
    std::size_t m_nBegin = 0;
    std::size_t m_nEnd = 0;
    bool m_bEnded = false;
    char m_tBytes[s_knCapacity];
};
