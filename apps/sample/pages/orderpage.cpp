#include <cmath>

#include "htmlpage.h"
#include "pages/pages.h"
#include "serveraddress.h"
#include "xmldocument.h"
#include "zq/applicationkit/jsonbody.h"

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

EStatus orderPage(const RoutedRequest& r, State&) {
    HtmlPage tPage(r.rStream, L"XML and JSON order");
    const std::wstring sAddress = getServerAddress(r.rStream);
    tPage.write(
        L"<p>Post an order here, in XML or in JSON:</p>\n<pre>{}{}{}</pre>\n<pre>{}{}{}</pre>\n"
        L"<p>The answer is a bill, in XML or JSON too.</p>\n",
        L"curl -H 'Content-Type: application/xml' --data-binary @- ", sAddress,
        L"/order <<END\n<order>\n  <item name=\"tea\" price=\"2.50\" quantity=\"3\"/>\n"
        L"  <item name=\"cake\" price=\"4\"/>\n</order>\nEND",
        L"curl -H 'Content-Type: application/json' -d '{\"cents\": 250, \"quantity\": 3}' ", sAddress,
        L"/order");
    tPage.end();
    return HttpRequestStatus::kOK;
}

EStatus orderPost(const RoutedRequest& r, State&) {
    if (r.rRequest.bBodyInStream) {
        const kit::JsonBody tItem(r.rStream, r.rRequest);
        kit::sendJson(r.rStream,
                      {{"total", std::int64_t{tItem.get<std::int32_t>("cents")} * tItem.get("quantity", 1)}});
        return HttpRequestStatus::kOK;
    }
    pugi::xml_document tOrder, tBill;
    std::wstring sReason;
    if (!parseXml(tOrder, r.rRequest.sBody.view(), sReason))
        throw kit::RequestError(400, L"This is no XML: " + sReason + L".");
    pugi::xml_node tTotal = tBill.append_child("bill");
    long long nSum = 0;
    for (const pugi::xml_node& rItem : tOrder.document_element().children("item")) {
        pugi::xml_node tLine = tTotal.append_child("line");
        tLine.append_attribute("name") = rItem.attribute("name").value();
        tLine.append_attribute("total") = centsText(lineTotal(rItem)).c_str();
        nSum += lineTotal(rItem);
    }
    tTotal.append_attribute("total") = centsText(nSum).c_str();
    sendXml(r.rStream, tBill, L"application/xml");
    return HttpRequestStatus::kOK;
}

}  // namespace sample
