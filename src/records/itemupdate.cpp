#include "records/itemupdate.h"

#include "protocol/bodies.h"
#include "records/attributevalues.h"

using namespace Qt::StringLiterals;

int Records::applyUpdates(const QVariantMap& updates, const QByteArray& returnValues, QVariantMap* item,
                          QVariantMap* answer)
{
    const bool updatedOld = returnValues == Bodies::ReturnUpdatedOld;
    const bool updatedNew = returnValues == Bodies::ReturnUpdatedNew;
    if (returnValues == Bodies::ReturnAllOld)
        *answer = *item;

    for (auto it = updates.constBegin(); it != updates.constEnd(); ++it) {
        const QString& name = it.key();
        const QVariantMap update = it->toMap();
        const QString action = update.value(u"Action"_s).toString();
        const bool put = action == "PUT";
        const bool add = action == "ADD";
        if (!put && !add && action != "DELETE")
            continue;

        const bool exists = item->contains(name);
        if (exists && updatedOld)
            answer->insert(name, item->value(name));
        if (add && exists) {
            QVariantMap current = item->value(name).toMap();
            if (const int rc = applyAdd(&current, update.value(u"Value"_s).toMap()))
                return rc;
            item->insert(name, current);
        } else if (put || add) {
            item->insert(name, update.value(u"Value"_s));
        } else {
            item->remove(name);
        }
        if ((put || add) && updatedNew)
            answer->insert(name, item->value(name));
    }

    if (returnValues == "ALL_NEW")
        *answer = *item;
    return 0;
}
