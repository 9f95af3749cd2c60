#include "http/resumedquery.h"

#include <QString>

using namespace Qt::StringLiterals;

namespace Http {

bool makeResumable(QVariantMap* body)
{
    QVariantMap condition = body->value(u"RangeKeyCondition"_s).toMap();
    const QVariantList values = condition.value(u"AttributeValueList"_s).toList();
    const QVariantMap prefix = values.value(0).toMap();
    if (!body->contains(u"ExclusiveStartKey"_s) || condition.value(u"ComparisonOperator"_s) != u"BEGINS_WITH"_s ||
        prefix.value(u"S"_s).typeId() != QMetaType::QString)
        return false;
    // Every key that begins with the prefix lies between it and this one, unless it goes on with as many such letters.
    constexpr int MoreThanKeysHave = 1024;
    const QString last = prefix.value(u"S"_s).toString() + QString(MoreThanKeysHave, QChar(0xff));
    condition.insert(u"ComparisonOperator"_s, u"BETWEEN"_s);
    condition.insert(u"AttributeValueList"_s, QVariantList{prefix, QVariantMap{{u"S"_s, last}}});
    body->insert(u"RangeKeyCondition"_s, condition);
    return true;
}

} // namespace Http
