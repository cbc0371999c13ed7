#pragma once

#include <map>

#include "zq/foundation/handle.h"
#include "zq/foundation/refcounted.h"
#include "zq/foundation/zqstring.h"

/// Named switches that change how responses are made. Immutable once it is in use.
class ZQ_EXPORT FeatureTable : public RefCounted {
public:
    using Values = std::map<ZQWString, bool>;

    explicit FeatureTable(Values tValues) : m_tValues(std::move(tValues)) {}
    ~FeatureTable() override;

    /// The switch's value, or null when the table does not define it.
    const bool* find(const ZQWString& sName) const noexcept;

    /// The table of every request that has none of its own; at first an empty one.
    static const Handle<const FeatureTable>& getGlobal() noexcept;
    /// Sets that table; before the first request only.
    static void setGlobal(const Handle<const FeatureTable>& hTable);

private:
    const Values m_tValues;
};

/// A question to a feature table.
template <class T>
class ZQ_EXPORT FeatureExpr;

/// Whether a switch is on.
template <>
class ZQ_EXPORT FeatureExpr<bool> {
public:
    explicit FeatureExpr(const ZQWString& sName) noexcept : m_sName(sName) {}
    /// The named switch's value; false when the table does not define it.
    bool evaluate(const FeatureTable& rTable) const noexcept;

private:
    ZQWString m_sName;
};
