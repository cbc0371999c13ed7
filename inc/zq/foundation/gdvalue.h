#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "zq/foundation/stringbuffer.h"
#include "zq/foundation/zqexport.h"
#include "zq/foundation/zqstring.h"

/// Something that a message shows: a text, a number, or the key of a text in a message file. A small value:
/// copying shares its text. The derived classes only name the ways to make one, so that slicing loses
/// nothing.
class ZQ_EXPORT GDValue {
public:
    enum class EKind : std::uint8_t { kText, kUnsigned, kMessageKey };

    GDValue() noexcept = default;

    EKind getKind() const noexcept { return m_eKind; }
    /// The text, or the key; empty for a number.
    const ZQWString& getText() const noexcept { return m_sText; }
    std::uint64_t getUnsigned() const noexcept { return m_nValue; }
    /// Appends what a reader sees: the text, the number in decimal, or the message that the key names, its
    /// inserts still unfilled. A key that no registered message file defines shows itself.
    void appendTo(WideStringBufferBase& rBuffer) const;

    friend bool operator==(const GDValue&, const GDValue&) noexcept = default;

protected:
    GDValue(EKind eKind, const ZQWString& sText, std::uint64_t nValue) noexcept
        : m_eKind(eKind),
          m_nValue(nValue),
          m_sText(sText) {}

private:
    EKind m_eKind = EKind::kText;
    std::uint64_t m_nValue = 0;
    ZQWString m_sText;
};

/// A fixed text.
class ZQ_EXPORT GDString : public GDValue {
public:
    GDString(const ZQWString& sText) noexcept : GDValue(EKind::kText, sText, 0) {}
    GDString(const wchar_t* pText) : GDString(ZQWString(pText)) {}
};

/// An unsigned number, shown in decimal.
class ZQ_EXPORT GDUInteger : public GDValue {
public:
    explicit GDUInteger(std::uint64_t nValue) noexcept : GDValue(EKind::kUnsigned, ZQWString(), nValue) {}
};

/// A handle to a message that stands under a key in one of the registered message files. It is looked up
/// when it is shown, so it may be made before the file is registered.
class ZQ_EXPORT ExternalMessage : public GDValue {
public:
    enum Options {
        kNone = 0,
        kProtect = 1,  ///< for the operator's eyes: a front end does not show it to clients
    };

    ExternalMessage(const ZQWString& sKey, Options eOptions) noexcept
        : GDValue(EKind::kMessageKey, sKey, static_cast<std::uint64_t>(eOptions)) {}
};

/// A text that is shown as it stands, by reference: the characters must outlive the call that takes it.
class ZQ_EXPORT GDStringRef {
public:
    explicit constexpr GDStringRef(std::wstring_view s) noexcept : m_s(s) {}
    constexpr std::wstring_view view() const noexcept { return m_s; }

private:
    std::wstring_view m_s;
};

/// A text with inserts %1 to %9, by reference: the characters must outlive the call that takes it.
class ZQ_EXPORT PercentizedMessageRef {
public:
    explicit constexpr PercentizedMessageRef(std::wstring_view s) noexcept : m_s(s) {}
    constexpr std::wstring_view view() const noexcept { return m_s; }

private:
    std::wstring_view m_s;
};
