#include "zq/httpstream/httputils.h"

#include "zq/foundation/encodingutf8.h"
#include "zq/services/logger.h"

namespace {

void logUndecodable(const ZQWString& sParamName) {
    TWLogger& rLogger = TWLogger::getLogger();
    if (rLogger.calcEnabledWriters(kSevDebug))
        rLogger.logToEnabledWriters1(
            kSevDebug, PercentizedMessageRef(L"The parameter \"%1\" is not valid in its character set"),
            GDString(sParamName), ZQ_LOG_LOCATION);
}

}  // namespace

void HttpUtils::convertHttpInputToUnicode(const Transcoding& rTranscoding, const ZQWString& sParamName,
                                          const ZQNarrowString& sRaw, ZQWString& rResult) {
    // Hardly any text has more characters than bytes.
    StringMaker tText(sRaw.length());
    rTranscoding.decode(tText, sRaw);
    rResult = tText.takeString();
    if (rResult.view().find(kReplacementCharacter) != std::wstring_view::npos) logUndecodable(sParamName);
}
