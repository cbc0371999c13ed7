#include "filetypes.h"

#include <fstream>
#include <map>
#include <sstream>

namespace kit {

namespace {

using Types = std::map<std::string, std::string, std::less<>>;

/// What pages are made of, for systems without a table. It also stands in for entries that a table lacks.
Types builtIn() {
    return {{"html", "text/html"},        {"htm", "text/html"},
            {"css", "text/css"},          {"js", "text/javascript"},
            {"mjs", "text/javascript"},   {"json", "application/json"},
            {"txt", "text/plain"},        {"csv", "text/csv"},
            {"md", "text/markdown"},      {"xml", "application/xml"},
            {"svg", "image/svg+xml"},     {"png", "image/png"},
            {"jpg", "image/jpeg"},        {"jpeg", "image/jpeg"},
            {"gif", "image/gif"},         {"webp", "image/webp"},
            {"avif", "image/avif"},       {"ico", "image/vnd.microsoft.icon"},
            {"woff2", "font/woff2"},      {"woff", "font/woff"},
            {"ttf", "font/ttf"},          {"pdf", "application/pdf"},
            {"wasm", "application/wasm"}, {"zip", "application/zip"},
            {"mp3", "audio/mpeg"},        {"ogg", "audio/ogg"},
            {"mp4", "video/mp4"},         {"webm", "video/webm"},
            {"map", "application/json"},  {"webmanifest", "application/manifest+json"}};
}

/// Lines of "type ending ending", with comments after "#".
Types readTable() {
    Types tTypes = builtIn();
    std::ifstream tTable("/etc/mime.types");
    for (std::string sLine; std::getline(tTable, sLine);) {
        std::istringstream tWords(sLine.substr(0, sLine.find('#')));
        std::string sType, sEnding;
        for (tWords >> sType; tWords >> sEnding;)
            tTypes[sEnding] = sType;
    }
    return tTypes;
}

}  // namespace

const std::string* findFileType(std::string_view sEnding) {
    static const Types s_tTypes = readTable();
    const auto it = s_tTypes.find(sEnding);
    return it == s_tTypes.end() ? nullptr : &it->second;
}

}  // namespace kit
