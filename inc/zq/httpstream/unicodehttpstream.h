#pragma once

#include <optional>
#include <string_view>

#include "zq/foundation/stringbuffer.h"
#include "zq/foundation/textencoder.h"
#include "zq/httpstream/gdexpressionevaluator.h"
#include "zq/httpstream/unicodebuffer.h"
#include "zq/httpstream/zqhttpstream.h"

/// The output half of a stream: collects text and bytes, and converts text into the output character set.
/// Text and bytes have buffers of their own; text joins the bytes when it is converted, so within one flush
/// bytes written with writeBinary() go out before text written with addChars(). Short responses stay within
/// storage inside the object.
class ZQ_EXPORT UnicodeHttpStream : public ZQHttpStream {
public:
    /// hExpressionEvaluator may be null.
    explicit UnicodeHttpStream(const Handle<GDExpressionEvaluator>& hExpressionEvaluator);
    ~UnicodeHttpStream() override;

    /// Once the stream is dead both drop what they are given: nobody is there to read it.
    void addChars(const wchar_t* pText, std::size_t nLength) override;
    void writeBinary(const void* pData, std::size_t nLength) override;
    /// Handles every flag; kClearStatusCode through the virtual setStatusCode(200).
    void Reset(EResetFlag eResetFlag) override;

    /// Text not converted yet, and bytes not sent yet.
    const UnicodeBuffer& getUnicodeBuffer() const noexcept { return m_tText; }
    const NarrowStringBufferBase& getByteBuffer() const noexcept { return m_tBytes; }
    bool isStreamDead() const noexcept { return m_bDead; }
    const Handle<GDExpressionEvaluator>& getExpressionEvaluator() const noexcept { return m_hEvaluator; }

protected:
    NarrowStringBufferBase& getMutableByteBuffer() noexcept { return m_tBytes; }
    /// Appends a byte order mark to the byte buffer, once however often a flush that failed is tried again.
    void markText(std::string_view sMark);
    /// Appends the text, converted, to the byte buffer; it can still be read until the next
    /// Reset(kClearBuffer), but is converted once. A character that the character set lacks becomes a
    /// character reference in HTML and XML and a question mark elsewhere. Text cut anywhere between two calls
    /// converts as it would in one piece, also when its character set was set anew in between.
    void transformUnicodeBuffer();
    /// Ends the response's text: appends what its conversion still holds back, such as the return to ASCII of
    /// ISO-2022-JP. Nothing for nearly every character set.
    void finishUnicodeText();
    void setStreamDead(bool bDead) noexcept { m_bDead = bDead; }

private:
    Handle<GDExpressionEvaluator> m_hEvaluator;
    bool m_bDead = false;
    bool m_bTextMarked = false;             ///< the buffered text has its byte order mark
    std::optional<TextEncoder> m_tEncoder;  ///< made for the first text, and anew for another character set
    UnicodeBuffer m_tText;
    StringBufferTemplate<16383, char> m_tBytes;
};
