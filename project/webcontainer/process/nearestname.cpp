#include "process/nearestname.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace webcontainer {

namespace {

bool isSame(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

/// How many single changes make b of a, where swapping two neighbours is one (the optimal string alignment).
std::size_t countChanges(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> t(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                t[i][j] = i + j;
                continue;
            }
            const std::size_t nReplaced = t[i - 1][j - 1] + (isSame(a[i - 1], b[j - 1]) ? 0 : 1);
            t[i][j] = std::min({nReplaced, t[i - 1][j] + 1, t[i][j - 1] + 1});
            if (i > 1 && j > 1 && isSame(a[i - 1], b[j - 2]) && isSame(a[i - 2], b[j - 1]))
                t[i][j] = std::min(t[i][j], t[i - 2][j - 2] + 1);
        }
    }
    return t[a.size()][b.size()];
}

}  // namespace

std::string_view findNearest(std::string_view sName, std::span<const std::string> tKnown) {
    std::string_view sNearest;
    std::size_t nFewest = std::max<std::size_t>(sName.size() / 3, 1) + 1;
    for (const std::string& sKnown : tKnown) {
        // Names that differ so much in length are not near, and need no long look.
        if (std::max(sKnown.size(), sName.size()) - std::min(sKnown.size(), sName.size()) >= nFewest)
            continue;
        const std::size_t nChanges = countChanges(sName, sKnown);
        if (nChanges >= nFewest) continue;
        nFewest = nChanges;
        sNearest = sKnown;
    }
    return sNearest;
}

std::string suggest(std::string_view sName, std::span<const std::string> tKnown) {
    if (const std::string_view sNearest = findNearest(sName, tKnown); !sNearest.empty())
        return "; did you mean " + std::string(sNearest) + "?";
    std::string sText = "; known are ";
    for (std::size_t n = 0; n < tKnown.size(); ++n)
        sText.append(n == 0 ? "" : n + 1 < tKnown.size() ? ", " : " and ").append(tKnown[n]);
    return sText;
}

}  // namespace webcontainer
