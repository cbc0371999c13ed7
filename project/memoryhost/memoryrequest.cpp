#include "zq/memoryhost/memoryrequest.h"

#include <algorithm>
#include <numeric>

namespace {

std::string joined(const std::vector<std::string>& rPieces) {
    return std::accumulate(rPieces.begin(), rPieces.end(), std::string());
}

}  // namespace

ClientVanished::ClientVanished() : ClonedException(GDString(L"The client has vanished.")) {}

MemoryRequest MemoryRequest::post(std::string sTarget, std::string sContentType, std::string sBody) {
    return {.sMethod = "POST",
            .sTarget = std::move(sTarget),
            .tHeaders = {{"Content-Type", std::move(sContentType)}},
            .tBody = {std::move(sBody)}};
}

MemoryRequest MemoryRequest::form(std::string sTarget, std::string sFields) {
    return post(std::move(sTarget), "application/x-www-form-urlencoded", std::move(sFields));
}

MemoryRequest MemoryRequest::upload(std::string sTarget, const std::string& sField,
                                    const std::string& sFileName, const std::string& sContent) {
    const std::string sBoundary = "----MemoryRequest7MA4YWxkTrZu0gW";
    return post(std::move(sTarget), "multipart/form-data; boundary=" + sBoundary,
                "--" + sBoundary + "\r\nContent-Disposition: form-data; name=\"" + sField +
                    "\"; filename=\"" + sFileName + "\"\r\nContent-Type: application/octet-stream\r\n\r\n" +
                    sContent + "\r\n--" + sBoundary + "--\r\n");
}

MemoryRequest& MemoryRequest::divide(std::size_t nPiece) {
    const std::string sBody = joined(tBody);
    tBody.clear();
    nPiece = std::max<std::size_t>(nPiece, 1);
    for (std::size_t n = 0; n < sBody.size(); n += nPiece)
        tBody.push_back(sBody.substr(n, nPiece));
    return *this;
}

MemoryRequest& MemoryRequest::vanishAfter(std::size_t nBytes) {
    if (!nContentLength) nContentLength = joined(tBody).size();
    auto it = tBody.begin();
    for (; it != tBody.end() && nBytes != 0; ++it) {
        it->resize(std::min(it->size(), nBytes));
        nBytes -= it->size();
    }
    tBody.erase(it, tBody.end());
    bVanishes = true;
    return *this;
}
