// Text cut anywhere converts as it does in one piece, and what UTF-8 and UTF-16 write they read back. The
// first line of the text is the character set's label; the numbers are lengths of pieces.

#include "fuzzinput.h"
#include "zq/foundation/textencoder.h"
#include "zq/foundation/transcoding.h"
#include "zq/foundation/utf8text.h"

using fuzz::require;

namespace {

/// Texts up to this length are cut at every place.
constexpr std::size_t knMostForAllCuts = 40;

class Converter {
public:
    Converter(const Handle<const CharacterSet>& hCharset, EUnmappable eUnmappable, std::wstring_view sText)
        : m_hCharset(hCharset),
          m_eUnmappable(eUnmappable),
          m_sText(sText) {}

    /// The text in pieces; the last size serves for all that follow.
    std::string inPieces(const std::vector<std::size_t>& rSizes) const {
        NarrowStringBuffer tBytes;
        TextEncoder tEncoder(m_hCharset);
        tEncoder.setUnmappable(m_eUnmappable);
        std::wstring_view sRest = m_sText;
        for (std::size_t n = 0; !sRest.empty(); n += n + 1 < rSizes.size()) {
            const std::string sPiece = toUtf8(sRest.substr(0, rSizes[n]));
            for (std::size_t nDone = 0; nDone < sPiece.size();) {
                const std::size_t nTaken =
                    tEncoder.encodePiece(tBytes, std::string_view(sPiece).substr(nDone));
                require(nTaken > 0 && nTaken <= sPiece.size() - nDone, "some of the piece");
                nDone += nTaken;
            }
            sRest.remove_prefix(std::min(rSizes[n], sRest.size()));
        }
        tEncoder.finish(tBytes);
        return std::string(tBytes.view());
    }

private:
    const Handle<const CharacterSet> m_hCharset;
    const EUnmappable m_eUnmappable;
    const std::wstring_view m_sText;
};

Handle<const CharacterSet> findCharset(std::wstring_view sLabel, bool bForClient) {
    try {
        return bForClient ? CharacterSet::findForClient(sLabel) : CharacterSet::find(sLabel);
    } catch (const CharacterSet::UnknownCharset&) {
        return {};
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static const auto s_pBefore = Exception::setPrethrowReporter(nullptr);
    (void)s_pBefore;
    fuzz::FuzzInput tInput(pData, nSize);
    const bool bForClient = tInput.takeNumber(1) == 1;
    const auto eUnmappable = static_cast<EUnmappable>(tInput.takeNumber(1));
    const std::vector<std::size_t> tSizes = tInput.takeSizes(4, 20);
    const ZQWString sLabel = fromUtf8(tInput.takeLine());
    const Handle<const CharacterSet> hCharset = findCharset(sLabel.view(), bForClient);
    if (hCharset.isNull()) return 0;
    const std::string_view sBytes = tInput.getText();
    StringBuffer tDecoded;
    UniversalTranscoding(hCharset).decode(tDecoded, sBytes);

    const ZQWString sText = fromUtf8(sBytes);
    const Converter tConverter(hCharset, eUnmappable, sText.view());
    const std::string sWhole = tConverter.inPieces({sText.length() + 1});
    require(sWhole == tConverter.inPieces({1}), "the same one by one");
    require(sWhole == tConverter.inPieces(tSizes), "the same in pieces");
    for (std::size_t n = 1; sText.length() <= knMostForAllCuts && n < sText.length(); ++n)
        require(sWhole == tConverter.inPieces({n, sText.length()}), "the same in two pieces");
    if (hCharset->getKind() == CharacterSet::EKind::kIcu) return 0;
    tDecoded.clear();
    UniversalTranscoding(hCharset).decode(tDecoded, sWhole);
    require(tDecoded.view() == sText.view(), "the same text");
    return 0;
}
