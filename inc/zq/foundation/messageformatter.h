#pragma once

#include <span>
#include <string_view>

#include "zq/foundation/gdvalue.h"

/// Appends sMessage with its inserts filled: %1 to %9 name tInserts[0] to tInserts[8], %{tag:1} shows an
/// insert in the way that the tag's formatter has, %% is one percent sign. An insert that is not there, and a
/// percent sign that starts nothing, stay as they stand; an unknown tag shows the plain value.
ZQ_EXPORT void formatMessage(WideStringBufferBase& rBuffer, std::wstring_view sMessage,
                             std::span<const GDValue> tInserts);

/// The ways to show an insert that message texts can ask for. Tags are registered while the process starts;
/// once the registration period has ended the table is read-only and request threads read it without a lock.
/// Built in: "bytes", a byte count in the largest binary unit that divides it ("10 MiB"); what is no number
/// is shown as it is.
class ZQ_EXPORT MessageFormatterTagRegistrar {
public:
    using Formatter = void (*)(WideStringBufferBase& rBuffer, const GDValue& rValue);

    /// Adds a tag, or replaces one of that name. Returns false, and changes nothing, once the period has
    /// ended. Not to be called from two threads at once.
    static bool registerTag(const ZQWString& sTag, Formatter pFormatter);
    /// Ends the registration period; later calls do nothing.
    static void endRegistrationPeriod() noexcept;
    /// The formatter of a tag, or null.
    static Formatter find(std::wstring_view sTag) noexcept;
};
