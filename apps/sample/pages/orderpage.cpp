#include <cmath>

#include "htmlpage.h"
#include "pages/pages.h"
#include "serveraddress.h"
#include "xmldocument.h"

namespace sample {

namespace {

/// Whole cents, so that sums are exact.
long long lineTotal(const pugi::xml_node& rItem) {
    const double nCents = rItem.attribute("price").as_double() * 100;
    return std::llround(nCents) * rItem.attribute("quantity").as_int(1);
}

std::string centsText(long long nCents) {
    const std::string sFraction = std::to_string(nCents % 100);
    return std::to_string(nCents / 100) + (sFraction.size() < 2 ? ".0" : ".") + sFraction;
}

}  // namespace

EStatus orderPage(const PageRequest& rRequest) {
    HtmlPage tPage(rRequest.rStream, L"XML order");
    tPage.markup(L"<p>Post an order here, as <code>application/xml</code>:</p>\n<pre>");
    tPage.text(L"curl -H 'Content-Type: application/xml' --data-binary @- ")
        .text(getServerAddress(rRequest.rStream))
        .text(
            L"/order <<END\n<order>\n  <item name=\"tea\" price=\"2.50\" quantity=\"3\"/>\n"
            L"  <item name=\"cake\" price=\"4\"/>\n</order>\nEND");
    tPage.markup(L"</pre>\n<p>The answer is a bill, in XML too.</p>\n").end();
    return HttpRequestStatus::kOK;
}

EStatus orderPost(const PageRequest& rRequest) {
    if (rRequest.rRequest.bBodyInStream)
        return badRequestPage(rRequest.rStream, L"An order is of the type application/xml.");
    pugi::xml_document tOrder, tBill;
    std::wstring sReason;
    if (!parseXml(tOrder, rRequest.rRequest.sBody.view(), sReason))
        return badRequestPage(rRequest.rStream, L"This is no XML: " + sReason + L".");
    pugi::xml_node tTotal = tBill.append_child("bill");
    long long nSum = 0;
    for (const pugi::xml_node& rItem : tOrder.document_element().children("item")) {
        pugi::xml_node tLine = tTotal.append_child("line");
        tLine.append_attribute("name") = rItem.attribute("name").value();
        tLine.append_attribute("total") = centsText(lineTotal(rItem)).c_str();
        nSum += lineTotal(rItem);
    }
    tTotal.append_attribute("total") = centsText(nSum).c_str();
    sendXml(rRequest.rStream, tBill, L"application/xml");
    return HttpRequestStatus::kOK;
}

}  // namespace sample
