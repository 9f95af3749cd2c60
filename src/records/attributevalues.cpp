#include "records/attributevalues.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/requeststatus.h"

using namespace Qt::StringLiterals;

namespace {

/** Kept: how numbers are parsed. Surrounding white space is allowed; anything that is not a 64-bit integer is 0. */
qlonglong integerOf(const QVariant& text)
{
    return text.toString().toLongLong();
}

bool matches(const QVariantMap& oldItem, const QString& name, const QVariantMap& condition)
{
    const auto attribute = oldItem.constFind(name);
    if (attribute == oldItem.constEnd())
        return false;
    const QVariantMap old = attribute->toMap();
    const QVariantMap want = condition.value(u"Value"_s).toMap();
    if (old.contains(u"S"_s) && want.contains(u"S"_s))
        return old.value(u"S"_s).toString() == want.value(u"S"_s).toString();
    if (old.contains(u"N"_s) && want.contains(u"N"_s))
        return integerOf(old.value(u"N"_s)) == integerOf(want.value(u"N"_s));
    return false;
}

int attributeMissing(int line)
{
    LOG_ERROR(LogOrigin::Request, line) << "attr missing";
    return StatusNotFound;
}

/**
 * Latin-1 text is stored as its bytes and one zero byte, at which the JSON writer ends it. Text that Latin-1 cannot
 * represent is left as is, so that nothing is lost.
 */
QVariant storedText(const QString& text)
{
    return Records::isLatin1(text) ? QVariant(text.toLatin1().append('\0')) : QVariant(text);
}

} // namespace

int Records::checkExpected(const QVariantMap& oldItem, const QVariantMap& expected)
{
    for (auto it = expected.constBegin(); it != expected.constEnd(); ++it) {
        const QVariantMap condition = it->toMap();
        if (const auto exists = condition.constFind(u"Exists"_s); exists != condition.constEnd()) {
            if (!exists->toBool() && oldItem.contains(it.key()))
                return StatusConditionFailed;
            continue;
        }
        if (!condition.contains(u"Value"_s)) {
            LOG_ERROR(LogOrigin::Request, __LINE__) << "attr missing";
            return StatusInternalError;
        }
        if (!matches(oldItem, it.key(), condition))
            return StatusConditionFailed;
    }
    return StatusSuccess;
}

int Records::applyAdd(QVariantMap* current, const QVariantMap& addend)
{
    if (addend.contains(u"N"_s)) {
        if (!current->contains(u"N"_s))
            return attributeMissing(__LINE__);
        // A sum beyond 64 bits wraps around.
        const auto sum = static_cast<qulonglong>(integerOf(current->value(u"N"_s))) +
                         static_cast<qulonglong>(integerOf(addend.value(u"N"_s)));
        current->insert(u"N"_s, QByteArray::number(static_cast<qlonglong>(sum)).append('\0'));
        return StatusSuccess;
    }
    if (!addend.contains(u"S"_s))
        return attributeMissing(__LINE__);
    if (!current->contains(u"S"_s))
        return attributeMissing(__LINE__);
    current->insert(u"S"_s, storedText(current->value(u"S"_s).toString() + addend.value(u"S"_s).toString()));
    return StatusSuccess;
}
