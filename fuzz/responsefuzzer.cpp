// Whatever an application gives its header fields and an operator an error page, the head of a response has
// the fields that were taken and no other, as another parser reads it, and an error page has nothing
// unexpanded. Each line of the text is a field, "name:value", the last one a design.

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>

#include "fuzzinput.h"
#include "http/datecache.h"
#include "http/errorpage.h"
#include "http/fieldtext.h"
#include "http/reasonphrase.h"
#include "http/responsehead.h"

using fuzz::require;

namespace {

namespace http = boost::beast::http;
using webcontainer::ResponseHead;

/// What is to be read of a field.
using Field = std::pair<std::string, std::string>;

std::string cleaned(std::string_view s) {
    std::string sClean(s);
    for (char& c : sClean)
        if ((static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7f') c = ' ';
    return std::string(webcontainer::trim(sClean));
}

void addFields(fuzz::FuzzInput& rInput, ResponseHead& rHead, std::vector<Field>& rFields) {
    while (rInput.getText().find('\n') != std::string_view::npos) {
        const std::string_view sLine = rInput.takeLine();
        const std::string_view sName = sLine.substr(0, sLine.find(':'));
        const std::string_view sValue = sLine.substr(std::min(sName.size() + 1, sLine.size()));
        const ResponseHead::EAdded eAdded = rHead.addField(sName, sValue);
        if (eAdded != ResponseHead::EAdded::kDropped) rFields.emplace_back(sName, cleaned(sValue));
        require((eAdded == ResponseHead::EAdded::kCleaned) <= (cleaned(sValue) != sValue),
                "cleaned for a reason");
    }
}

void checkHead(const ResponseHead& rHead, const webcontainer::ResponseLine& rLine, std::vector<Field> tFields,
               std::string_view sDate) {
    NarrowStringBuffer tWire;
    rHead.append(tWire, rLine, sDate, "");
    http::response_parser<http::empty_body> tParser;
    tParser.header_limit(std::numeric_limits<std::uint32_t>::max());
    tParser.body_limit(boost::none);
    tParser.skip(true);
    boost::beast::error_code eError;
    const std::size_t nRead = tParser.put({tWire.view().data(), tWire.length()}, eError);
    require(!eError && tParser.is_header_done() && nRead == tWire.length(), "one head");
    require(tParser.get().result_int() == rLine.nStatus, "the status");
    require(tParser.get().reason() == webcontainer::getReasonPhrase(rLine.nStatus), "its phrase");
    std::size_t nOwn = 0;
    for (const auto& r : tParser.get()) {
        const auto fIsIt = [&](const Field& rField) {
            return rField.first == r.name_string() && rField.second == r.value();
        };
        const auto it = std::ranges::find_if(tFields, fIsIt);
        if (it == tFields.end())
            ++nOwn;
        else
            tFields.erase(it);
    }
    require(tFields.empty(), "every field");
    require(nOwn <= 3, "no other field than Date, framing and Connection");
}

void checkErrorPage(std::string_view sDesign, unsigned nStatus) {
    const webcontainer::ErrorNotice tNotice = {nStatus, nStatus % 2 == 0 ? "a reason" : "", "0af7"};
    NarrowStringBuffer tPage, tText;
    webcontainer::appendErrorPage(tPage, sDesign, tNotice);
    for (const std::string_view sPlace : {"%{status}", "%{title}", "%{reason}", "%{id}"})
        require(sDesign.find("%{%{") != sDesign.npos || tPage.view().find(sPlace) == sDesign.npos,
                "no place is left");
    webcontainer::appendErrorText(tText, tNotice);
    require(tText.view().starts_with(std::to_string(nStatus) + " ") && tText.view().ends_with("0af7\n"),
            "status and id");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    fuzz::FuzzInput tInput(pData, nSize);
    webcontainer::ResponseLine tLine;
    tLine.nStatus = static_cast<unsigned>(200 + 100 * tInput.takeNumber(3) + tInput.takeNumber(99));
    tLine.eFraming = static_cast<webcontainer::EResponseFraming>(tInput.takeNumber(3));
    tLine.bKeepAlive = tInput.takeNumber(1) == 0;
    tLine.bSayKeepAlive = tInput.takeNumber(1) == 0;
    const bool bWithoutBody = tInput.takeNumber(1) == 1;
    ResponseHead tHead;
    std::vector<Field> tFields;
    addFields(tInput, tHead, tFields);
    if (bWithoutBody) {
        tHead.removeBodyFields();
        std::erase_if(tFields, [](const Field& r) {
            return std::ranges::any_of(std::array{"Content-Type", "Content-Encoding", "Content-Disposition",
                                                  "Content-Range", "Last-Modified", "ETag"},
                                       [&](const char* p) { return webcontainer::equalsNoCase(r.first, p); });
        });
    }
    webcontainer::DateCache tDate;
    checkHead(tHead, tLine, tFields, tDate.now());
    tHead.clear();
    checkHead(tHead, tLine, {}, tDate.now());
    checkErrorPage(tInput.getText(), tLine.nStatus);
    return 0;
}
