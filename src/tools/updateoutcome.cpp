#include "tools/updateoutcome.h"

#include "protocol/bodies.h"
#include "tools/typedvalues.h"

#include <QtGlobal>

namespace Ctl {

namespace {

/** The outcome of an ADD to an attribute that exists. */
std::string add(const QString& name, const QVariantMap& addend, QVariantMap* current)
{
    if (addend.contains("S") && current->contains("S"))
        current->insert("S", current->value("S").toString() + addend.value("S").toString());
    if (!addend.contains("N") || !current->contains("N"))
        return {}; // different types: the server refuses it
    if (auto error = checkInteger(name, *current); !error.empty())
        return "the stored " + error;
    qint64 sum = 0;
    if (qAddOverflow(qint64{current->value("N").toString().toLongLong()},
                     qint64{addend.value("N").toString().toLongLong()}, &sum))
        return "the sum of \"" + name.toStdString() + "\" is not a 64-bit integer";
    current->insert("N", QString::number(sum));
    return {};
}

} // namespace

std::string applyUpdates(const QVariantMap& updates, QVariantMap* item)
{
    for (auto update = updates.begin(); update != updates.end(); ++update) {
        const QVariantMap fields = update->toMap();
        const QString action = fields.value("Action").toString();
        if (action == Bodies::UpdateDelete) {
            item->remove(update.key());
        } else if (action == Bodies::UpdateAdd && item->contains(update.key())) {
            QVariantMap current = item->value(update.key()).toMap();
            if (auto error = add(update.key(), fields.value("Value").toMap(), &current); !error.empty())
                return error;
            item->insert(update.key(), current);
        } else {
            item->insert(update.key(), fields.value("Value"));
        }
    }
    return {};
}

} // namespace Ctl
