// Pages of text: in many scripts, in many character sets, and as a file to save.

#include "htmlpage.h"
#include "pages/pages.h"

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

/// Labels of character sets that browsers know too. The server knows many more.
constexpr std::wstring_view s_ksLabels[] = {
    L"utf-8",      L"unicode",      L"unicodeFFFE", L"iso-8859-1", L"iso-8859-2",   L"windows-1252",
    L"iso-8859-7", L"windows-1251", L"koi8-r",      L"iso-8859-8", L"windows-1256", L"tis-620",
    L"shift_jis",  L"euc-jp",       L"gb18030",     L"big5",       L"euc-kr"};

void addTexts(HtmlPage& rPage) {
    rPage.markup(L"<table>\n");
    for (const SampleText& r : s_tTexts)
        rPage.write(L"<tr><th scope=\"row\">{}</th><td lang=\"{}\" dir=\"{}\">{}</td></tr>\n", r.sName,
                    r.sLanguage, r.bRightToLeft ? L"rtl" : L"ltr", r.sText);
    rPage.markup(L"</table>\n");
}

void addLabels(HtmlPage& rPage, std::wstring_view sLabel) {
    rPage.write(
        L"<form accept-charset=\"utf-8\"><label>Label <input name=\"label\" list=\"labels\" "
        L"value=\"{}\"></label>"
        L"<datalist id=\"labels\">",
        sLabel);
    for (const std::wstring_view sKnown : s_ksLabels)
        rPage.write(L"<option value=\"{}\">", sKnown);
    rPage.markup(L"</datalist><button>Show</button></form>\n<p class=\"choices\">");
    for (const std::wstring_view sKnown : s_ksLabels)
        rPage.write(L"<a href=\"?label={}\">{}</a> ", sKnown, sKnown);
    rPage.markup(L"</p>\n");
}

}  // namespace

void textPage(const RoutedRequest& r, State&) {
    HtmlPage tPage(r.rStream, L"Text of many scripts");
    tPage.markup(
        L"<p>Applications write wide text, one code point in each character; the stream sends it as UTF-8. "
        L"The "
        L"last five need characters beyond U+FFFF.</p>\n");
    addTexts(tPage);
    tPage.end();
}

/// ?label=LABEL: in that character set.
void charsetPage(const RoutedRequest& r, State&) {
    const ZQWString sLabel = kit::FormData(r.rStream, r.rRequest).get(L"label", L"utf-8");
    bool bKnown = true;
    try {
        r.rStream.SetOutputCharset(CharacterSet::find(sLabel));
    } catch (const CharacterSet::UnknownCharset&) {
        bKnown = false;
        r.rStream.setErrorStatusCode(400);
    }
    HtmlPage tPage(r.rStream, bKnown ? L"Character sets" : L"Unknown character set");
    if (bKnown)
        tPage.write(
            L"<p>This page is sent as <code>{}</code>. Characters that it lacks are sent as numeric "
            L"references, "
            L"so that every line reads the same.</p>\n",
            sLabel);
    else
        tPage.write(L"<p>No character set is known as <code>{}</code>. Choose another one.</p>\n", sLabel);
    addLabels(tPage, bKnown ? sLabel.view() : L"utf-8");
    if (bKnown) addTexts(tPage);
    tPage.end();
}

/// ?name=NAME: a file to be saved as NAME. Without it: a form.
void downloadPage(const RoutedRequest& r, State&) {
    const ZQWString sName = kit::FormData(r.rStream, r.rRequest).get(L"name");
    if (sName.empty()) {
        HtmlPage tPage(r.rStream, L"Download");
        tPage.write(
            L"<p>Type any name: what a file system or a header cannot take is replaced, and a name that is "
            L"too "
            L"long is shortened before its extension.</p>\n<form accept-charset=\"utf-8\"><label>File name "
            L"<input name=\"name\" value=\"{}\"></label><button>Download</button></form>\n",
            L"Grüße 😀 “2024”.txt");
        return tPage.end();
    }
    r.rStream.SetFormat(WebContentFormat::kText);
    r.rStream.AddHeader(L"X-Content-Type-Options", L"nosniff");
    r.rStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, sName));
    r.rStream.addText(L"This file was asked for as: " + std::wstring(sName) + L"\n");
}

}  // namespace sample
