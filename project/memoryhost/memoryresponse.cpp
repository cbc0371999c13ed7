#include "zq/memoryhost/memoryresponse.h"

#include "fieldname.h"

bool MemoryResponse::isWhole() const {
    return bEnded && eResult == kiv::HttpResponseProvider::kRCOK && !pException;
}

std::vector<std::string> MemoryResponse::getValues(std::string_view sName) const {
    std::vector<std::string> tValues;
    for (const auto& [sHeader, sValue] : tHeaders)
        if (isSameName(sHeader, sName)) tValues.push_back(sValue);
    return tValues;
}

std::string MemoryResponse::describe() const {
    std::string s = "HTTP/1.1 " + std::to_string(nStatus) + '\n';
    if (nContentLength) s += "Content-Length: " + std::to_string(*nContentLength) + '\n';
    for (const auto& [sName, sValue] : tHeaders)
        s.append(sName).append(": ").append(sValue) += '\n';
    s += '\n' + sBody + '\n';
    if (pException) s += "(aborted: " + sException + ")\n";
    if (eResult != kiv::HttpResponseProvider::kRCOK)
        s += "(a provider call returned " + std::to_string(eResult) + ")\n";
    for (const std::string& sBreach : tBreaches)
        s += "(breach of the contract: " + sBreach + ")\n";
    return s;
}
