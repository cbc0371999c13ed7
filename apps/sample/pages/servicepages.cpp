// Services for programs: orders in XML and JSON, and a SOAP calculator.

#include <cmath>
#include <pugixml.hpp>

#include "htmlpage.h"
#include "pages/pages.h"
#include "zq/applicationkit/jsonbody.h"

namespace sample {

namespace {

constexpr std::wstring_view s_ksPlain =
    L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._[]:";

std::wstring getVariable(ZQHttpStream& rStream, const char* pName) {
    ZQWString sValue;
    rStream.GetServerVariable(pName, sValue);
    return std::wstring(sValue.view());
}

/// The address that the client reached this application at, by way of a proxy too: "http://127.0.0.1:8080".
/// For links and commands to copy, so that a host that is no plain name or address is not repeated.
std::wstring getServerAddress(ZQHttpStream& rStream) {
    const bool bSecure = getVariable(rStream, ServerVariable::kHttps) == L"on";
    const std::wstring sScheme = bSecure ? L"https://" : L"http://";
    const std::wstring sHost = getVariable(rStream, "HTTP_HOST");
    const std::wstring sPort = getVariable(rStream, ServerVariable::kServerPort);
    std::wstring sName = getVariable(rStream, ServerVariable::kServerName);
    if (sName.empty() || sName.find_first_not_of(s_ksPlain) != sName.npos) sName = L"localhost";
    // The client's own words, unless a proxy was asked for another host: they have the port that leads here.
    if (sHost == sName || sHost.starts_with(sName + L":")) return sScheme + sHost;
    const bool bDefault = sPort == (bSecure ? L"443" : L"80");
    return sScheme + sName + (bDefault || sPort == L"0" ? L"" : L":" + sPort);
}

/// Hands what pugixml writes to the stream, as it comes.
class StreamWriter final : public pugi::xml_writer {
public:
    explicit StreamWriter(ZQHttpStream& rStream) noexcept : m_rStream(rStream) {}
    void write(const void* pData, std::size_t nSize) override { m_rStream.writeBinary(pData, nSize); }

private:
    ZQHttpStream& m_rStream;
};

/// Reads a whole XML document: in UTF-8, UTF-16 or ISO-8859-1, as it says itself. False: it is not
/// well-formed, and rReason says why. Entities of its own are not expanded, so that a small document stays
/// small.
bool parseXml(pugi::xml_document& rDocument, std::string_view sXml, std::wstring& rReason) {
    const pugi::xml_parse_result tResult = rDocument.load_buffer(sXml.data(), sXml.size());
    if (tResult && rDocument.document_element()) return true;
    rReason = tResult ? L"there is no element" : pugi::as_wide(tResult.description());
    return false;
}

void sendXml(ZQHttpStream& rStream, const pugi::xml_document& rDocument, const wchar_t* pContentType) {
    rStream.SetContentType(pContentType);
    rStream.setExpireSeconds(0);
    StreamWriter tWriter(rStream);
    rDocument.save(tWriter, "  ");
}

/// The name of an element without its namespace's prefix.
std::string_view localName(const pugi::xml_node& rNode) {
    const std::string_view sName = rNode.name();
    return sName.substr(sName.find(':') + 1);
}

/// In cents. No order costs more, nor does a double tell one cent from the next far beyond.
constexpr double knMostCents = 1e12;

/// Whole cents, so that sums are exact; negative, or no number, for what nobody can order.
double lineTotal(const pugi::xml_node& rItem) {
    return std::round(rItem.attribute("price").as_double() * 100) * rItem.attribute("quantity").as_int(1);
}

std::string centsText(double nTotal) {
    const auto nCents = static_cast<long long>(nTotal);
    const std::string sFraction = std::to_string(nCents % 100);
    return std::to_string(nCents / 100) + (sFraction.size() < 2 ? ".0" : ".") + sFraction;
}

constexpr char s_ksEnvelope[] = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr char s_ksNamespace[] = "urn:sample:calculator";
/// No honest call is longer, in bytes.
constexpr std::size_t knLongestCall = 65536;

/// WSDL 1.1 with the document/literal binding of SOAP 1.1; the service's address goes where @ stands.
constexpr std::wstring_view s_ksDescription =
    LR"(<?xml version="1.0" encoding="utf-8"?>
<definitions xmlns="http://schemas.xmlsoap.org/wsdl/" xmlns:soap="http://schemas.xmlsoap.org/wsdl/soap/"
    xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns:c="urn:sample:calculator"
    targetNamespace="urn:sample:calculator" name="Calculator">
  <types><xs:schema targetNamespace="urn:sample:calculator" elementFormDefault="qualified">
    <xs:element name="Add"><xs:complexType><xs:sequence>
      <xs:element name="a" type="xs:long"/><xs:element name="b" type="xs:long"/>
    </xs:sequence></xs:complexType></xs:element>
    <xs:element name="AddResponse"><xs:complexType><xs:sequence>
      <xs:element name="sum" type="xs:long"/>
    </xs:sequence></xs:complexType></xs:element>
  </xs:schema></types>
  <message name="AddInput"><part name="parameters" element="c:Add"/></message>
  <message name="AddOutput"><part name="parameters" element="c:AddResponse"/></message>
  <portType name="CalculatorPort"><operation name="Add">
    <input message="c:AddInput"/><output message="c:AddOutput"/>
  </operation></portType>
  <binding name="CalculatorBinding" type="c:CalculatorPort">
    <soap:binding style="document" transport="http://schemas.xmlsoap.org/soap/http"/>
    <operation name="Add"><soap:operation soapAction="Add"/>
      <input><soap:body use="literal"/></input><output><soap:body use="literal"/></output>
    </operation>
  </binding>
  <service name="Calculator"><port name="Calculator" binding="c:CalculatorBinding">
    <soap:address location="@"/>
  </port></service>
</definitions>
)";

void sendDescription(ZQHttpStream& rStream) {
    rStream.SetContentType(L"text/xml");
    const std::size_t nAddress = s_ksDescription.find(L'@');
    kit::HtmlWriter(rStream)
        .unescaped(s_ksDescription.substr(0, nAddress))
        .text(getServerAddress(rStream) + L"/calculator?soap")
        .unescaped(s_ksDescription.substr(nAddress + 1));
}

/// The call's document; too long a one comes back cut, which is no XML.
std::string readCall(ZQHttpStream& rStream) {
    std::string sCall(knLongestCall, '\0');
    std::size_t nLength = 0;
    for (std::size_t nRead = 1; nRead != 0 && nLength < sCall.size(); nLength += nRead)
        nRead = rStream.ReadBinary(sCall.data() + nLength, sCall.size() - nLength);
    sCall.resize(nLength);
    return sCall;
}

/// The element of that local name directly below another, whatever its prefix.
pugi::xml_node childNamed(const pugi::xml_node& rParent, std::string_view sName) {
    return rParent.find_child([sName](const pugi::xml_node& r) { return localName(r) == sName; });
}

pugi::xml_node startAnswer(pugi::xml_document& rAnswer) {
    pugi::xml_node tEnvelope = rAnswer.append_child("soap:Envelope");
    tEnvelope.append_attribute("xmlns:soap") = s_ksEnvelope;
    return tEnvelope.append_child("soap:Body");
}

/// A fault of the client goes out with the status 500 (SOAP 1.1, section 6.2).
void sendFault(ZQHttpStream& rStream, const char* pReason) {
    pugi::xml_document tAnswer;
    pugi::xml_node tFault = startAnswer(tAnswer).append_child("soap:Fault");
    tFault.append_child("faultcode").text() = "soap:Client";
    tFault.append_child("faultstring").text() = pReason;
    rStream.setErrorStatusCode(500);
    sendXml(rStream, tAnswer, L"text/xml");
}

}  // namespace

void orderPage(const RoutedRequest& r, State&) {
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
}

void orderPost(const RoutedRequest& r, State&) {
    if (r.rRequest.bBodyInStream) {  // as all is that is neither a form nor XML
        const kit::JsonBody tItem(r.rStream, r.rRequest);
        const std::int64_t nTotal = std::int64_t{tItem.get<std::int32_t>("cents")} * tItem.get("quantity", 1);
        return kit::sendJson(r.rStream, {{"total", nTotal}});
    }
    pugi::xml_document tOrder, tBill;
    std::wstring sReason;
    if (!parseXml(tOrder, r.rRequest.sBody.view(), sReason))
        throw kit::RequestError(400, L"This is no XML: " + sReason + L".");
    pugi::xml_node tTotal = tBill.append_child("bill");
    double nSum = 0;
    for (const pugi::xml_node& rItem : tOrder.document_element().children("item")) {
        const double nLine = lineTotal(rItem);
        nSum += nLine;
        if (!(nLine >= 0 && nSum <= knMostCents))
            throw kit::RequestError(400, L"Nobody can pay what this order costs.");
        pugi::xml_node tLine = tTotal.append_child("line");
        tLine.append_attribute("name") = rItem.attribute("name").value();
        tLine.append_attribute("total") = centsText(nLine).c_str();
    }
    tTotal.append_attribute("total") = centsText(nSum).c_str();
    sendXml(r.rStream, tBill, L"application/xml");
}

void calculatorPage(const RoutedRequest& r, State&) {
    if (r.rRequest.sQueryString.view() == "wsdl") return sendDescription(r.rStream);
    HtmlPage tPage(r.rStream, L"SOAP calculator");
    tPage.markup(
        L"<p>A service with one operation, <code>Add</code>, for any SOAP 1.1 client. It reads "
        L"<a href=\"/calculator?wsdl\">the description</a>.</p>\n");
    tPage.end();
}

void calculatorCall(const RoutedRequest& r, State&) {
    pugi::xml_document tCall, tAnswer;
    std::wstring sReason;
    if (!parseXml(tCall, readCall(r.rStream), sReason))
        return sendFault(r.rStream, "The call is no XML document.");
    const pugi::xml_node tAdd = childNamed(childNamed(tCall.document_element(), "Body"), "Add");
    if (!tAdd) return sendFault(r.rStream, "The only operation is Add.");
    const auto nA = static_cast<unsigned long long>(childNamed(tAdd, "a").text().as_llong());
    const auto nB = static_cast<unsigned long long>(childNamed(tAdd, "b").text().as_llong());
    pugi::xml_node tResponse = startAnswer(tAnswer).append_child("AddResponse");
    tResponse.append_attribute("xmlns") = s_ksNamespace;
    tResponse.append_child("sum").text() = static_cast<long long>(nA + nB);
    sendXml(r.rStream, tAnswer, L"text/xml");
}

}  // namespace sample
