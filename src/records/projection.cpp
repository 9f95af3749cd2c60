#include "records/projection.h"

#include <QSet>

namespace {

QSet<QString> namesOf(const QVariantList& attributes)
{
    QSet<QString> names;
    names.reserve(attributes.size());
    for (const QVariant& attribute : attributes)
        names.insert(attribute.toString());
    return names;
}

void keepOnly(const QSet<QString>& wanted, QVariantMap* item)
{
    item->removeIf([&](const auto& attribute) { return !wanted.contains(attribute.key()); });
}

} // namespace

void projectItem(const QVariantList& attributesToGet, QVariantMap* item)
{
    keepOnly(namesOf(attributesToGet), item);
}

void projectItem(const QVariantList& attributesToGet, QVariantMap* item, const QString& hashName,
                 const QString& rangeName)
{
    keepOnly(namesOf(attributesToGet) << hashName << rangeName, item);
}

void projectItems(const QVariantList& attributesToGet, QVariantList* items, const QString& hashName,
                  const QString& rangeName)
{
    const QSet<QString> wanted = namesOf(attributesToGet) << hashName << rangeName;
    for (QVariant& item : *items) {
        auto attributes = qvariant_cast<QVariantMap>(std::move(item)); // moved, so that it is not copied to be changed
        keepOnly(wanted, &attributes);
        item = QVariant::fromValue(std::move(attributes));
    }
}
