#include "zq/httpstream/featuretable.h"

namespace {

/// Without memory for it at the start there is no going on.
Handle<const FeatureTable>& globalTable() noexcept {
    // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new)
    static Handle<const FeatureTable> s_hTable(new FeatureTable({}));
    return s_hTable;
}

}  // namespace

FeatureTable::~FeatureTable() = default;

const bool* FeatureTable::find(const ZQWString& sName) const noexcept {
    const auto it = m_tValues.find(sName);
    return it == m_tValues.end() ? nullptr : &it->second;
}

const Handle<const FeatureTable>& FeatureTable::getGlobal() noexcept {
    return globalTable();
}

void FeatureTable::setGlobal(const Handle<const FeatureTable>& hTable) {
    globalTable() = hTable;
}

bool FeatureExpr<bool>::evaluate(const FeatureTable& rTable) const noexcept {
    const bool* pValue = rTable.find(m_sName);
    return pValue && *pValue;
}
