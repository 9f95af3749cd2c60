#include "request/requestkeys.h"

#include "log/log.h"
#include "records/encoding.h"
#include "records/requestcontext.h"

namespace {

constexpr const char* LogOrigin = "bdbrequest";

/** What is said of one of the two elements of a key, in requests and in schemas. */
struct KeyElement {
    const char* name;
    const char* missing;
    const char* wrong;
};

constexpr KeyElement HashElement{"HashKeyElement", "hash key missing", "wrong hash-key"};
constexpr KeyElement RangeElement{"RangeKeyElement", "range key missing", "wrong range-key"};

int refuse(const char* text, int line)
{
    LOG_ERROR(LogOrigin, line) << text;
    return StatusInternalError;
}

int readElement(const QVariantMap& key, const KeyElement& element, QByteArray* bytes)
{
    const auto found = key.constFind(QLatin1String(element.name));
    if (found == key.constEnd())
        return refuse(element.missing, __LINE__);
    const QVariantMap typed = found->toMap();
    const auto value = typed.constFind(QLatin1String("S"));
    if (value == typed.constEnd())
        return refuse(element.wrong, __LINE__);
    return keyBytes(*value, bytes);
}

int readSchemaElement(const QVariantMap& keySchema, const KeyElement& element, QString* name)
{
    const auto found = keySchema.constFind(QLatin1String(element.name));
    if (found == keySchema.constEnd())
        return refuse(element.missing, __LINE__);
    const QVariantMap attribute = found->toMap();
    if (!attribute.contains("AttributeType") || !attribute.contains("AttributeName"))
        return refuse("schema attr missing", __LINE__);
    if (attribute.value("AttributeType").toString() != "S")
        return refuse(element.wrong, __LINE__);
    *name = attribute.value("AttributeName").toString();
    return StatusSuccess;
}

} // namespace

int readElementKeys(const QVariantMap& key, QByteArray* hashKey, QByteArray* rangeKey)
{
    if (const int rc = readElement(key, HashElement, hashKey))
        return rc;
    return readElement(key, RangeElement, rangeKey);
}

int schemaKeyNames(const QVariantMap& schema, QString* hashName, QString* rangeName)
{
    const auto keySchema = schema.constFind(QLatin1String("KeySchema"));
    if (keySchema == schema.constEnd())
        return refuse("key schema missing", __LINE__);
    if (const int rc = readSchemaElement(keySchema->toMap(), HashElement, hashName))
        return rc;
    return readSchemaElement(keySchema->toMap(), RangeElement, rangeName);
}
