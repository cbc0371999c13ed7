#pragma once

#include "page.h"

namespace sample {

/// Links to all pages.
EStatus homePage(const PageRequest& rRequest);
/// Text in many scripts.
EStatus textPage(const PageRequest& rRequest);
/// Shows the request: headers, server variables, query string, parameters.
EStatus requestPage(const PageRequest& rRequest);
/// ?label=LABEL: the sample texts in that character set. Without it: a choice.
EStatus charsetPage(const PageRequest& rRequest);
/// ?name=NAME: a text file to be saved as NAME. Without it: a form.
EStatus downloadPage(const PageRequest& rRequest);
/// ?gib=N: N times 2^30 bytes, in chunks. Without it: a form.
EStatus exportPage(const PageRequest& rRequest);
/// The files of the store, and a form to add to them; ?get=ID: one of them. And what its forms send: files
/// (multipart), or delete=ID.
EStatus filesPage(const PageRequest& rRequest);
EStatus filesPost(const PageRequest& rRequest);
/// Takes the files of a multipart form, all or none of them.
EStatus uploadFiles(const PageRequest& rRequest);
/// The script of that page.
EStatus uploadScript(const PageRequest& rRequest);
/// A form, and what the last one held: of a GET its query, of a POST its body.
EStatus formPage(const PageRequest& rRequest);
/// How to send an order; and the answer to one: an XML document in, another one out.
EStatus orderPage(const PageRequest& rRequest);
EStatus orderPost(const PageRequest& rRequest);
/// ?wsdl: the description of the SOAP service (WSDL 1.1). Without it: a page about it. And a call of it.
EStatus calculatorPage(const PageRequest& rRequest);
EStatus calculatorCall(const PageRequest& rRequest);
/// Ten steps of half a second, each sent when it is done.
EStatus slowPage(const PageRequest& rRequest);
/// Unchanged since the application started: 304 to those who have it (RFC 9110 section 13.1.3).
EStatus conditionalPage(const PageRequest& rRequest);
/// ?to=PATH: redirects to that page of this application. Without it: a choice.
EStatus redirectPage(const PageRequest& rRequest);
/// 404, with a page that says so.
EStatus missingPage(const PageRequest& rRequest);
/// 400, with a page that says why; sReason is text.
EStatus badRequestPage(ZQHttpStream& rStream, std::wstring_view sReason);

}  // namespace sample
