#include "request/requestkeys.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "request/requestbody.h"
#include "json/usualreader.h"

using namespace Qt::StringLiterals;

namespace {

/** How requests and schemas refer to one of the two elements of a key. */
struct KeyElement {
    QLatin1StringView latinName;
    QString name;
    const char* missing;
    const char* wrong;
};

const KeyElement HashElement{"HashKeyElement"_L1, u"HashKeyElement"_s, "hash key missing", "wrong hash-key"};
const KeyElement RangeElement{"RangeKeyElement"_L1, u"RangeKeyElement"_s, "range key missing", "wrong range-key"};

int refuse(const char* text, int line)
{
    LOG_ERROR(LogOrigin::Request, line) << text;
    return StatusInternalError;
}

int readElement(const QVariantMap& key, const KeyElement& element, QByteArray* bytes)
{
    const auto found = key.constFind(element.name);
    if (found == key.constEnd())
        return refuse(element.missing, __LINE__);
    const QVariantMap typed = found->toMap();
    const auto value = typed.constFind(u"S"_s);
    if (value == typed.constEnd())
        return refuse(element.wrong, __LINE__);
    return Records::keyBytes(*value, bytes);
}

/** True for the usual text of an element, {"S":"..."} with a plain string and without white space. */
bool isCompact(QByteArrayView element, QByteArrayView* plain)
{
    constexpr QByteArrayView Front("{\"S\":");
    // If anything but the end of the object followed the string, there would be a quote before it, which is not plain.
    return element.startsWith(Front) && Json::isPlainString(element.sliced(Front.size()).chopped(1), plain);
}

/** Reads an element whose text is nothing but {"S": plain string}; false if it is anything else. */
bool findPlainElement(const Json::UsualMembers& key, const KeyElement& element, QByteArray* bytes)
{
    const Json::UsualMember* const found = Json::findMember(key, element.latinName);
    if (found == nullptr)
        return false;
    QByteArrayView plain;
    if (!isCompact(found->value, &plain)) {
        Json::UsualMembers typed;
        if (!Json::findUsualMembers({}, found->value, &typed))
            return false;
        const Json::UsualMember* const value = Json::findMember(typed, "S"_L1);
        if (value == nullptr || !Json::isPlainString(value->value, &plain))
            return false;
    }
    *bytes = plain.toByteArray(); // ASCII is Latin-1
    return true;
}

int readSchemaElement(const QVariantMap& keySchema, const KeyElement& element, QString* name)
{
    const auto found = keySchema.constFind(element.name);
    if (found == keySchema.constEnd())
        return refuse(element.missing, __LINE__);
    const QVariantMap attribute = found->toMap();
    if (!attribute.contains(u"AttributeType"_s) || !attribute.contains(u"AttributeName"_s))
        return refuse("schema attr missing", __LINE__);
    if (attribute.value(u"AttributeType"_s).toString() != "S")
        return refuse(element.wrong, __LINE__);
    *name = attribute.value(u"AttributeName"_s).toString();
    return StatusSuccess;
}

} // namespace

int Requests::readElementKeys(const QVariantMap& key, QByteArray* hashKey, QByteArray* rangeKey)
{
    if (const int rc = readElement(key, HashElement, hashKey))
        return rc;
    return readElement(key, RangeElement, rangeKey);
}

int Requests::readElementKeys(const RequestBody& body, QLatin1StringView name, QByteArray* hashKey,
                              QByteArray* rangeKey)
{
    Json::UsualMembers key;
    if (Json::findUsualMembers({}, body.textOf(name), &key) && findPlainElement(key, HashElement, hashKey) &&
        findPlainElement(key, RangeElement, rangeKey))
        return StatusSuccess;
    return readElementKeys(body.value(name).toMap(), hashKey, rangeKey);
}

int Requests::schemaKeyNames(const QVariantMap& schema, QString* hashName, QString* rangeName)
{
    const auto keySchema = schema.constFind(u"KeySchema"_s);
    if (keySchema == schema.constEnd())
        return refuse("key schema missing", __LINE__);
    if (const int rc = readSchemaElement(keySchema->toMap(), HashElement, hashName))
        return rc;
    return readSchemaElement(keySchema->toMap(), RangeElement, rangeName);
}
