#include "records/conditions.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/lists.h"
#include "records/requestcontext.h"

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* LogOrigin = "bdbrequest";

struct OperatorName {
    const char* name;
    ComparisonOperator comparison;
    std::optional<bool> forward; // where a walk goes from the bound; nothing: as the request says
};

constexpr OperatorName Operators[] = {
    {"EQ", ComparisonOperator::Eq, true},           {"LE", ComparisonOperator::Le, false},
    {"LT", ComparisonOperator::Lt, false},          {"GE", ComparisonOperator::Ge, true},
    {"GT", ComparisonOperator::Gt, true},           {"BEGINS_WITH", ComparisonOperator::BeginsWith, true},
    {"BETWEEN", ComparisonOperator::Between, true},
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
    LOG_ERROR(LogOrigin, line) << text;
    return StatusInternalError;
}

int conditionValue(const QVariant& value, QByteArray* bytes)
{
    const QVariantMap typed = value.toMap();
    const auto text = typed.constFind(u"S"_s);
    if (text == typed.constEnd())
        return refuse("wrong key", __LINE__);
    return keyBytes(*text, bytes);
}

} // namespace

int parseCondition(const QVariantMap& condition, KeyCondition* parsed, bool* forward)
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
        LOG_ERROR(LogOrigin, __LINE__) << "incomplete value list count " << values.size();
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

void matchCondition(QByteArrayView value, const KeyCondition& condition, bool* match, bool* stop)
{
    switch (condition.comparison) {
    case ComparisonOperator::None:
        *match = true;
        break;
    case ComparisonOperator::Eq:
        *match = value == condition.low;
        *stop = *stop || !*match;
        break;
    case ComparisonOperator::Le:
        *match = value <= condition.low;
        break;
    case ComparisonOperator::Lt:
        *match = value < condition.low;
        break;
    case ComparisonOperator::Ge:
        *match = value >= condition.low;
        break;
    case ComparisonOperator::Gt:
        *match = value > condition.low;
        break;
    case ComparisonOperator::BeginsWith:
        *match = value.startsWith(condition.low);
        *stop = *stop || !*match;
        break;
    case ComparisonOperator::Between:
        *match = value >= condition.low && value <= condition.high;
        *stop = *stop || value > condition.high;
        break;
    case ComparisonOperator::Unknown:
        break;
    }
}
