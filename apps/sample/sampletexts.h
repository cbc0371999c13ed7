#pragma once

#include <span>
#include <string_view>

namespace sample {

/// A text in some language, for pages that show what happens to it.
struct SampleText {
    std::wstring_view sName;      ///< of the language or script
    std::wstring_view sLanguage;  ///< BCP 47 tag
    std::wstring_view sText;
    bool bRightToLeft = false;
};

std::span<const SampleText> getSampleTexts() noexcept;

class HtmlPage;
/// The texts as a table, each with its language and direction.
void addSampleTexts(HtmlPage& rPage);

}  // namespace sample
