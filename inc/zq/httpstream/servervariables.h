#pragma once

/// The names for ZQHttpStream::GetServerVariable(), in upper case. A host has those of a CGI program (RFC
/// 3875 section 4.1) that have a meaning without programs, and some of its own; webcontainer has all.
/// Values are decoded as UTF-8; a variable that the request has no value for does not exist, unless it says
/// otherwise here. Besides these there is
///
///     HTTP_NAME   for every header field (RFC 3875 section 4.1.18): its name in upper case with underscores
///                 for hyphens, such as HTTP_USER_AGENT. Fields of one name are joined by commas, Cookie by
///                 semicolons. A field with an underscore in its name cannot be asked for, so that it cannot
///                 pass for another one.
///
/// Behind a trusted proxy (TrustedProxies in the configuration), kServerName, kServerPort, kRemoteAddress,
/// kRemotePort and kHttps are what the proxy says of its client.
namespace ServerVariable {

/// The path of the request target as the client sent it: not decoded, without the query; of an absolute-form
/// target too (RFC 9112 section 3.2.2). Own; RFC 3875 has SCRIPT_NAME and PATH_INFO, which are decoded.
inline constexpr char kUrl[] = "URL";
/// "GET", "POST" or "HEAD", as sent; of a HEAD the application sees a GET elsewhere. RFC 3875 section 4.1.12.
inline constexpr char kRequestMethod[] = "REQUEST_METHOD";
/// What stands behind the question mark, not decoded; empty when there is none. RFC 3875 section 4.1.7.
inline constexpr char kQueryString[] = "QUERY_STRING";
/// "HTTP/1.1" or "HTTP/1.0". RFC 3875 section 4.1.16.
inline constexpr char kServerProtocol[] = "SERVER_PROTOCOL";
/// The field Content-Type of the request. RFC 3875 section 4.1.3.
inline constexpr char kContentType[] = "CONTENT_TYPE";
/// The declared length of the body in bytes; a chunked body has none. RFC 3875 section 4.1.2.
inline constexpr char kContentLength[] = "CONTENT_LENGTH";
/// The host that the client asked, without the port, an IPv6 address in brackets: the client's words, which
/// need not be true. RFC 3875 section 4.1.14.
inline constexpr char kServerName[] = "SERVER_NAME";
/// The port that the client reached; "0" on a unix socket. Behind a proxy that names no port, that of the
/// host asked, or else the scheme's. RFC 3875 section 4.1.15.
inline constexpr char kServerPort[] = "SERVER_PORT";
/// The client's address, without brackets; "unix:" of a unix socket's client. RFC 3875 section 4.1.8.
inline constexpr char kRemoteAddress[] = "REMOTE_ADDR";
/// The client's port; empty when it has none, or a proxy says none. Own, as other servers have it.
inline constexpr char kRemotePort[] = "REMOTE_PORT";
/// "on" when the client came by https, as only a proxy can tell; otherwise "off". Own, as other servers have
/// it.
inline constexpr char kHttps[] = "HTTPS";
/// What the logs call the request by: 32 hexadecimal digits, the trace-id of the client's traceparent (W3C
/// Trace Context) or else random. Own.
inline constexpr char kRequestId[] = "REQUEST_ID";

}  // namespace ServerVariable
