#pragma once

#include "zq/foundation/refcounted.h"
#include "zq/foundation/zqstring.h"

/// Evaluates the expressions that a page's texts may hold; whoever serves such pages implements it.
class ZQ_EXPORT GDExpressionEvaluator : public RefCounted {
public:
    virtual ZQWString evaluate(const ZQWString& sExpression) = 0;
};
