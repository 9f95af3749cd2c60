#include "records/itemkeys.h"

#include "records/encoding.h"
#include "records/requeststatus.h"
#include "records/tablecontext.h"
#include "json/canonicaltext.h"
#include "json/jsoncharacters.h"
#include "json/jsonreader.h"
#include "json/jsontext.h"
#include "json/jsonwriter.h"

#include <QVariantMap>

#include <algorithm>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Member = const Json::MemberText*;

/** Finds the member that a key element of the schema names; `end` when there is none. */
Member findKey(const QVariantMap& keyElement, Member begin, Member end)
{
    const QString name = keyElement.value(u"AttributeName"_s).toString();
    return std::find_if(begin, end, [&](const Json::MemberText& member) { return member.name == name; });
}

/** Reads a key attribute that is nothing but a plain string. */
bool readPlainKey(QByteArrayView value, QByteArray* bytes)
{
    constexpr QByteArrayView Front = R"({"S":")";
    constexpr QByteArrayView Back = R"("})";
    if (value.size() < Front.size() + Back.size() || !value.startsWith(Front) || !value.endsWith(Back))
        return false;
    const QByteArrayView text = value.sliced(Front.size()).chopped(Back.size());
    if (!Json::isPlain(text))
        return false;
    *bytes = text.toByteArray();
    return true;
}

QByteArray textWithout(const Json::SplitObject& item, Member first, Member second)
{
    Json::TextWriter writer({}, item.text.size());
    const auto putRun = [&](Member begin, Member end) {
        if (begin < end)
            writer.put(Json::textOf(begin, end));
    };
    const Member begin = item.members.data();
    const Member end = begin + item.members.size();
    writer.beginObject();
    putRun(begin, first);
    putRun(first + 1, second);
    putRun(second + 1, end);
    writer.endObject();
    return writer.take();
}

/** False for an item that needs a tree: a key is missing, or is anything but a plain string. */
bool takePlainKeys(const KeySchema& schema, const Json::SplitObject& item, QByteArray* hashKey, QByteArray* rangeKey,
                   QByteArray* stored)
{
    const Member begin = item.members.data();
    const Member end = begin + item.members.size();
    const Member hash = findKey(schema.hash, begin, end);
    const Member range = findKey(schema.range, begin, end);
    if (hash == end || range == end || hash == range)
        return false;
    if (!readPlainKey(hash->value, hashKey) || !readPlainKey(range->value, rangeKey))
        return false;
    *stored = textWithout(item, std::min(hash, range), std::max(hash, range));
    return true;
}

bool isSplit(const QVariant& item)
{
    return item.metaType() == QMetaType::fromType<Json::SplitObject>();
}

const Json::SplitObject& splitOf(const QVariant& item)
{
    return *static_cast<const Json::SplitObject*>(item.constData());
}

/** The item as an unshared tree, so that removing the keys copies nothing. */
QVariantMap treeOf(QVariant item)
{
    if (isSplit(item)) {
        const QByteArray text = splitOf(item).text.toByteArray();
        (void)Json::parse(text, &item); // cannot fail: it is canonical
    }
    return item.toMap();
}

template <typename Name> bool isTypeName(const Name& name)
{
    return !name.isEmpty() && std::all_of(name.begin(), name.end(), [](auto c) { return c >= 'A' && c <= 'Z'; });
}

bool isTyped(const QVariant& value)
{
    const QVariantMap map = value.toMap();
    return map.size() == 1 && isTypeName(map.firstKey());
}

/** The same for canonical text; `members` is scratch memory, which saves an allocation for each value. */
bool isTyped(QByteArrayView value, std::vector<Json::MemberText>* members)
{
    if (Json::splitObject(value, members))
        return members->size() == 1 && isTypeName(members->front().name);
    QVariant tree; // it is deeply nested, or not an object
    return Json::parse(value.toByteArray(), &tree) && isTyped(tree);
}

} // namespace

int Records::takeKeys(const KeySchema& schema, QVariant item, QByteArray* hashKey, QByteArray* rangeKey,
                      QByteArray* stored)
{
    if (isSplit(item) && takePlainKeys(schema, splitOf(item), hashKey, rangeKey, stored))
        return StatusSuccess;
    QVariantMap tree = treeOf(std::move(item));
    if (const int rc = extractKeys(schema, &tree, hashKey, rangeKey))
        return rc;
    *stored = Json::serialize(tree);
    return StatusSuccess;
}

bool Records::storeWithoutKeys(const KeySchema& schema, const QVariant& item, QByteArray* stored)
{
    if (isSplit(item)) {
        const Json::SplitObject& split = splitOf(item);
        const Member begin = split.members.data();
        const Member end = begin + split.members.size();
        *stored = split.text.toByteArray();
        return findKey(schema.hash, begin, end) == end && findKey(schema.range, begin, end) == end;
    }
    if (item.typeId() != QMetaType::QVariantMap)
        return false;
    const QVariantMap tree = item.toMap();
    *stored = Json::serialize(tree);
    return !tree.contains(schema.hash.value(u"AttributeName"_s).toString()) &&
           !tree.contains(schema.range.value(u"AttributeName"_s).toString());
}

std::optional<QString> Records::findUntyped(const QVariant& item)
{
    if (isSplit(item)) {
        std::vector<Json::MemberText> members;
        for (const Json::MemberText& attribute : splitOf(item).members) {
            if (!isTyped(attribute.value, &members))
                return QString(attribute.name);
        }
        return std::nullopt;
    }
    const QVariantMap tree = item.toMap();
    const auto found = std::find_if_not(tree.begin(), tree.end(), [](const QVariant& value) { return isTyped(value); });
    return found == tree.end() ? std::nullopt : std::optional(found.key());
}
