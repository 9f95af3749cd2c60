#include "records/conditions.h"

#include "log/log.h"
#include "protocol/bodies.h"
#include "records/encoding.h"
#include "records/lists.h"
#include "records/requeststatus.h"

#include <optional>

using namespace Qt::StringLiterals;

namespace {

namespace Names = Bodies::Comparison;

struct OperatorName {
    const char* name;
    ComparisonOperator comparison;
    std::optional<bool> forward; // the direction of a walk from the bound; unset: that of the request
};

constexpr OperatorName Operators[] = {
    {Names::Equal, ComparisonOperator::Eq, true},        {Names::AtMost, ComparisonOperator::Le, false},
    {Names::Less, ComparisonOperator::Lt, false},        {Names::AtLeast, ComparisonOperator::Ge, true},
    {Names::Greater, ComparisonOperator::Gt, true},      {Names::BeginsWith, ComparisonOperator::BeginsWith, true},
    {Names::Between, ComparisonOperator::Between, true},
};

OperatorName operatorNamed(const QString& name)
{
    for (const OperatorName& known : Operators) {
        if (name == QLatin1String(known.name))
            return known;
    }
    return {"", ComparisonOperator::Unknown, std::nullopt};
}

int refuse(const char* text, int line)
{
    LOG_ERROR(LogOrigin::Request, line) << text;
    return StatusInternalError;
}

int conditionValue(const QVariant& value, QByteArray* bytes)
{
    const QVariantMap typed = value.toMap();
    const auto text = typed.constFind(u"S"_s);
    if (text == typed.constEnd())
        return refuse("wrong key", __LINE__);
    return Records::keyBytes(*text, bytes);
}

} // namespace

int Records::parseCondition(const QVariantMap& condition, KeyBounds* parsed, bool* forward)
{
    const auto name = condition.constFind(u"ComparisonOperator"_s);
    if (name == condition.constEnd())
        return StatusSuccess;
    const auto list = condition.constFind(u"AttributeValueList"_s);
    if (list == condition.constEnd())
        return refuse("attr value list missing", __LINE__);

    const OperatorName known = operatorNamed(name->toString());
    const QVariantList values = listOf(*list);
    const bool between = known.comparison == ComparisonOperator::Between;
    if (values.size() != (between ? 2 : 1)) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "incomplete value list count " << values.size();
        return StatusInternalError;
    }
    if (between) {
        if (const int rc = conditionValue(values.at(1), &parsed->high))
            return rc;
    }
    if (const int rc = conditionValue(values.at(0), &parsed->low))
        return rc;
    parsed->comparison = known.comparison;
    *forward = known.forward.value_or(*forward);
    return StatusSuccess;
}

KeyMatch Records::matchCondition(QByteArrayView value, const KeyBounds& condition)
{
    switch (condition.comparison) {
    case ComparisonOperator::Eq: {
        const bool equal = value == condition.low;
        return {equal, !equal};
    }
    case ComparisonOperator::Le:
        return {value <= condition.low};
    case ComparisonOperator::Lt:
        return {value < condition.low};
    case ComparisonOperator::Ge:
        return {value >= condition.low};
    case ComparisonOperator::Gt:
        return {value > condition.low};
    case ComparisonOperator::BeginsWith: {
        const bool begins = value.startsWith(condition.low);
        return {begins, !begins};
    }
    case ComparisonOperator::Between:
        return {value >= condition.low && value <= condition.high, value > condition.high};
    case ComparisonOperator::None:
    case ComparisonOperator::Unknown:
        break;
    }
    return {true};
}
