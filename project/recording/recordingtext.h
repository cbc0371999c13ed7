#pragma once

#include <array>
#include <string>
#include <string_view>

#include "zq/recording/recording.h"

// The words of the text form, for its reader and its writer.

inline constexpr std::string_view s_ksFirstLine = "webcontainer recording 1";
inline constexpr std::string_view s_ksChecksum = "crc ";
inline constexpr std::string_view s_ksAnyChecksum = "\ncrc any\n";  ///< of who has edited it
inline constexpr std::string_view s_ksNoLength = "none";
inline constexpr std::string_view s_ksOmitted = "omitted";
inline constexpr std::string_view s_ksWhole = "whole";
inline constexpr std::string_view s_ksCut = "cut";
inline constexpr std::string_view s_ksText = "| ";    ///< begins a line of bytes as text
inline constexpr std::string_view s_ksBase64 = "= ";  ///< begins a line of bytes in base64

/// How a call is written: its word, and which of its event's members follow it, in this order.
struct CallForm {
    std::string_view sWord;
    bool bNumber = false;
    bool bResult = false;
    bool bField = false;    ///< sName and sBytes, as "Name: value"
    bool bMessage = false;  ///< sBytes
    bool bContent = false;  ///< sBytes in lines of their own, nNumber of them
};

/// By Recording::ECall.
inline constexpr std::array<CallForm, 11> s_tCallForms{{
    {.sWord = "body", .bNumber = true, .bContent = true},
    {.sWord = "bodyfailed", .bMessage = true},
    {.sWord = "status", .bNumber = true},
    {.sWord = "errorstatus", .bNumber = true},
    {.sWord = "announce", .bNumber = true},
    {.sWord = "add", .bField = true},
    {.sWord = "clear"},
    {.sWord = "commit", .bResult = true},
    {.sWord = "write", .bNumber = true, .bResult = true, .bContent = true},
    {.sWord = "end", .bNumber = true, .bResult = true, .bContent = true},
    {.sWord = "exception", .bMessage = true},
}};

/// By kiv::HttpResponseProvider::EResponseCode.
inline constexpr std::array<std::string_view, 4> s_ksResults{"ok", "clientdead", "error", "timeout"};

/// The CRC-32 of IEEE 802.3.
std::string checksumText(std::string_view s);

/// Whether all of it is text that people read: UTF-8 without control characters but tabs and line ends.
bool isText(std::string_view s);
/// Appends what escapeBytes() makes of s.
void appendEscaped(std::string& rsText, std::string_view s);
/// The same of what isText() is true of, with sNewLine behind each line feed that something follows.
void appendText(std::string& rsText, std::string_view s, std::string_view sNewLine);
/// What escapeBytes() has made; false: there is no such escape.
bool unescapeBytes(std::string_view s, std::string& rsBytes);
/// What stands in base64 (RFC 4648 section 4), padded; false: it is none.
bool decodeBase64(std::string_view s, std::string& rsBytes);
