#include "htmlpage.h"

namespace sample {

namespace {

/// A text in some language, for pages that show what happens to it.
struct SampleText {
    std::wstring_view sName;      ///< of the language or script
    std::wstring_view sLanguage;  ///< BCP 47 tag
    std::wstring_view sText;
    bool bRightToLeft = false;
};

constexpr SampleText s_tTexts[] = {
    {L"English", L"en", L"The quick brown fox — “jumps” over 5 € & <more>"},
    {L"Deutsch", L"de", L"Falsches Üben von Xylophonmusik quält jeden größeren Zwerg"},
    {L"Polski", L"pl", L"Zażółć gęślą jaźń"},
    {L"Ελληνικά", L"el", L"Ξεσκεπάζω την ψυχοφθόρα βδελυγμία"},
    {L"Русский", L"ru", L"Съешь ещё этих мягких французских булок"},
    {L"עברית", L"he", L"דג סקרן שט בים מאוכזב ולפתע מצא חברה", true},
    {L"العربية", L"ar", L"نص حكيم له سر قاطع وذو شأن عظيم", true},
    {L"हिन्दी", L"hi", L"ऋषियों को सताने वाले दुष्ट राक्षस"},
    {L"ไทย", L"th", L"เป็นมนุษย์สุดประเสริฐเลิศคุณค่า"},
    {L"日本語", L"ja", L"いろはにほへと ちりぬるを 色は匂へど"},
    {L"中文", L"zh-Hans", L"天地玄黄,宇宙洪荒。日月盈昃,辰宿列张。"},
    {L"한국어", L"ko", L"다람쥐 헌 쳇바퀴에 타고파"},
    {L"漢字 (plane 2)", L"zh-Hant", L"𠜎 𠜱 𠝹 𠱓 𠱸 𠲖 𠳏"},
    {L"Gothic", L"got", L"𐌼𐌰𐌲 𐌲𐌻𐌴𐍃 𐌹̈𐍄𐌰𐌽, 𐌽𐌹 𐌼𐌹𐍃 𐍅𐌿 𐌽𐌳𐌰𐌽 𐌱𐍂𐌹𐌲𐌲𐌹𐌸"},
    {L"Mathematics", L"zxx", L"𝔘𝔫𝔦𝔠𝔬𝔡𝔢 ∀x∈ℝ: ⌈x⌉ = −⌊−x⌋, 𝛼 + 𝛽 ≠ 𝛾"},
    {L"Music", L"zxx", L"𝄞 ♪ ♫ 𝅘𝅥𝅮"},
    {L"Emoji", L"zxx", L"😀 👩‍🚀 🇪🇺 👍🏽 🧑‍🤝‍🧑"},
};

}  // namespace

HtmlPage& HtmlPage::sampleTexts() {
    markup(L"<table>\n");
    for (const SampleText& r : s_tTexts)
        write(L"<tr><th scope=\"row\">{}</th><td lang=\"{}\" dir=\"{}\">{}</td></tr>\n", r.sName, r.sLanguage,
              r.bRightToLeft ? L"rtl" : L"ltr", r.sText);
    markup(L"</table>\n");
    return *this;
}

}  // namespace sample
