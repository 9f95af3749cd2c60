#include "records/values.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/requestcontext.h"

namespace {

constexpr const char* LogOrigin = "bdbrequest";

/** Text as integers are read here: blanks around it are allowed, anything that is no 64-bit integer is 0. */
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
    const QVariantMap want = condition.value("Value").toMap();
    if (old.contains("S") && want.contains("S"))
        return old.value("S").toString() == want.value("S").toString();
    if (old.contains("N") && want.contains("N"))
        return integerOf(old.value("N")) == integerOf(want.value("N"));
    return false;
}

int attributeMissing(int line)
{
    LOG_ERROR(LogOrigin, line) << "attr missing";
    return StatusNotFound;
}

/**
 * Latin-1 text is stored as its bytes and one zero byte, where the JSON writer ends it. Text that Latin-1 cannot hold
 * stays as it is, so that nothing is lost.
 */
QVariant storedText(const QString& text)
{
    return isLatin1(text) ? QVariant(text.toLatin1().append('\0')) : QVariant(text);
}

} // namespace

int checkExpected(const QVariantMap& oldItem, const QVariantMap& expected)
{
    for (auto it = expected.constBegin(); it != expected.constEnd(); ++it) {
        const QVariantMap condition = it->toMap();
        if (const auto exists = condition.constFind("Exists"); exists != condition.constEnd()) {
            if (!exists->toBool() && oldItem.contains(it.key()))
                return StatusConditionFailed;
            continue;
        }
        if (!condition.contains("Value")) {
            LOG_ERROR(LogOrigin, __LINE__) << "attr missing";
            return StatusInternalError;
        }
        if (!matches(oldItem, it.key(), condition))
            return StatusConditionFailed;
    }
    return StatusSuccess;
}

int applyAdd(QVariantMap* current, const QVariantMap& addend)
{
    if (addend.contains("N")) {
        if (!current->contains("N"))
            return attributeMissing(__LINE__);
        // A sum beyond 64 bits wraps around.
        const auto sum = static_cast<qulonglong>(integerOf(current->value("N"))) +
                         static_cast<qulonglong>(integerOf(addend.value("N")));
        current->insert("N", QByteArray::number(static_cast<qlonglong>(sum)).append('\0'));
        return StatusSuccess;
    }
    if (!addend.contains("S"))
        return attributeMissing(__LINE__);
    if (!current->contains("S"))
        return attributeMissing(__LINE__);
    current->insert("S", storedText(current->value("S").toString() + addend.value("S").toString()));
    return StatusSuccess;
}
