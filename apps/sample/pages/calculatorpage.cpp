#include <string>

#include "htmlpage.h"
#include "pages/pages.h"
#include "serveraddress.h"
#include "xmldocument.h"

namespace sample {

namespace {

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

EStatus sendDescription(ZQHttpStream& rStream) {
    rStream.SetContentType(L"text/xml");
    const std::size_t nAddress = s_ksDescription.find(L'@');
    kit::HtmlWriter(rStream)
        .unescaped(s_ksDescription.substr(0, nAddress))
        .text(getServerAddress(rStream) + L"/calculator?soap")
        .unescaped(s_ksDescription.substr(nAddress + 1));
    return HttpRequestStatus::kOK;
}

/// The call's document; too long a one comes back cut, which is no XML.
std::string readCall(ZQHttpStream& rStream) {
    std::string sCall(knLongestCall, '\0');
    std::size_t nLength = 0;
    while (nLength < sCall.size()) {
        const std::size_t nRead = rStream.ReadBinary(sCall.data() + nLength, sCall.size() - nLength);
        if (nRead == 0) break;
        nLength += nRead;
    }
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
EStatus sendFault(ZQHttpStream& rStream, const char* pReason) {
    pugi::xml_document tAnswer;
    pugi::xml_node tFault = startAnswer(tAnswer).append_child("soap:Fault");
    tFault.append_child("faultcode").text() = "soap:Client";
    tFault.append_child("faultstring").text() = pReason;
    rStream.setErrorStatusCode(500);
    sendXml(rStream, tAnswer, L"text/xml");
    return HttpRequestStatus::kOK;
}

}  // namespace

EStatus calculatorPage(const RoutedRequest& r, State&) {
    if (r.rRequest.sQueryString.view() == "wsdl") return sendDescription(r.rStream);
    HtmlPage tPage(r.rStream, L"SOAP calculator");
    tPage.markup(
        L"<p>A service with one operation, <code>Add</code>, for any SOAP 1.1 client. It reads "
        L"<a href=\"/calculator?wsdl\">the description</a>.</p>\n");
    tPage.end();
    return HttpRequestStatus::kOK;
}

EStatus calculatorCall(const RoutedRequest& r, State&) {
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
    return HttpRequestStatus::kOK;
}

}  // namespace sample
