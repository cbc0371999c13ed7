#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <utility>

#include "zq/applicationkit/router.h"

namespace kit {

/// The routes as a tree of segments. The children of all nodes stand in one hash table, by node and segment,
/// so that a step takes the same time whether a node has one child or a thousand.
class Router::Table {
public:
    using Values = std::array<std::wstring_view, RoutedRequest::s_knMostPlaceholders>;

    /// A page, and the names that its own pattern gives to the placeholders.
    struct Answer {
        Page fPage;
        std::vector<std::wstring> tNames;
    };

    /// Throws std::invalid_argument.
    explicit Table(std::vector<Route> tRoutes);

    /// The page of a path and the values of its placeholders, which are parts of it; null when there is none.
    const Answer* find(EMethod eMethod, std::wstring_view sPath, Values& rValues) const;

private:
    using Index = std::int32_t;
    static constexpr Index s_knNone = -1;

    /// The pages of one pattern, by method.
    using Pages = std::array<Answer, 3>;
    /// The node behind each segment of each node, while the tree grows.
    using Children = std::map<std::pair<Index, std::wstring>, Index>;

    struct Node {
        std::wstring sSegment;       ///< that leads here; none for a placeholder's
        Index nAny = s_knNone;       ///< the node behind a placeholder
        Index nPages = s_knNone;     ///< of a path that ends here
        Index nAllPages = s_knNone;  ///< of "..." from here on
    };
    struct Entry {
        std::uint32_t nHash = 0;
        Index nParent = s_knNone;
        Index nChild = s_knNone;
    };

    void add(Route& rRoute, Children& rChildren);
    Index addNode(Index nParent, std::wstring_view sSegment, Children& rChildren);
    Pages& addPages(Index& rnPages);
    void index(const Children& rChildren);
    Index findChild(Index nParent, std::wstring_view sSegment) const noexcept;
    const Answer* match(EMethod eMethod, Index nNode, std::wstring_view sRest,
                        std::wstring_view* pValue) const;
    const Answer* choose(EMethod eMethod, Index nPages) const noexcept;

    std::vector<Node> m_tNodes;
    std::vector<Pages> m_tPages;
    std::vector<Entry> m_tEntries;  ///< a power of two of them, at most half of them in use
};

}  // namespace kit
