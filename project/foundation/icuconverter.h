#pragma once

#include <unicode/ucnv.h>

#include <memory>
#include <string_view>

struct UConverterDeleter {
    void operator()(UConverter* p) const noexcept { ucnv_close(p); }
};
using UConverterPtr = std::unique_ptr<UConverter, UConverterDeleter>;

/// Opens ICU's converter for a label of wide ASCII text; null when ICU knows no such character set.
UConverterPtr openIcuConverter(std::wstring_view sLabel) noexcept;
