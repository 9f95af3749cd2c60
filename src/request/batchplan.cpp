#include "request/batchplan.h"

#include "log/log.h"
#include "records/itemplace.h"
#include "records/lists.h"
#include "records/requeststatus.h"
#include "records/schema.h"
#include "request/requestkeys.h"
#include "storage/environmentpath.h"

#include <QSet>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

using Requests::BatchPlan;

using SeenKeys = QSet<QByteArray>;

/** Batch writes take no conditions and return nothing. */
bool hasConditions(const QVariantMap& entry)
{
    return entry.contains(u"ReturnValues"_s) || entry.contains(u"Expected"_s);
}

int refuse(BatchPlan* plan, const char* text, int line)
{
    plan->report = [text, line] { LOG_ERROR(LogOrigin::Request, line) << text; };
    return StatusConditionFailed;
}

/** Refuses a second write to one item within one table's list. */
int addWrite(Requests::BatchWrite write, SeenKeys* seen, BatchPlan* plan)
{
    if (seen->contains(write.key))
        return refuse(plan, "Duplicate entries are present", __LINE__);
    seen->insert(write.key);
    plan->writes.push_back(std::move(write));
    return StatusSuccess;
}

int planPutItem(TableContext& table, const QByteArray& tableName, const QVariantMap& put, SeenKeys* seen,
                BatchPlan* plan)
{
    if (hasConditions(put))
        return refuse(plan, "condition check failed", __LINE__);
    ItemPlace place;
    QByteArray stored;
    if (const int rc = Records::takePlace(table, tableName, put.value(u"Item"_s), &place, &stored))
        return rc;
    return addWrite({tableName, place.db, place.key, std::move(stored)}, seen, plan);
}

int planDeleteItem(TableContext& table, const QByteArray& tableName, const QVariantMap& deletion, SeenKeys* seen,
                   BatchPlan* plan)
{
    if (hasConditions(deletion))
        return refuse(plan, "condition check failed", __LINE__);
    ItemPlace place;
    if (const int rc = Requests::readElementKeys(deletion.value(u"Key"_s).toMap(), &place.hashKey, &place.rangeKey))
        return rc;
    if (const int rc = Records::openPlace(table, tableName, &place))
        return rc;
    return addWrite({tableName, place.db, place.key, std::nullopt}, seen, plan);
}

/** Plans one table's list in order, up to the first failure. Kept: an entry of neither kind is skipped. */
int planTable(TableContext& table, const QByteArray& tableName, const QVariantList& entries, BatchPlan* plan)
{
    QVariantMap description;
    if (const int rc = Records::loadSchema(table, tableName, &description, false)) {
        if (rc == StatusTakesLong)
            return rc;
        plan->report = [tableName] {
            LOG_ERROR(LogOrigin::Request, __LINE__) << "batchWriteItem schema load failed: " << tableName;
        };
        return rc;
    }
    SeenKeys seen;
    for (const QVariant& entry : entries) {
        const QVariantMap write = entry.toMap();
        int rc = StatusSuccess;
        if (const auto put = write.constFind(u"PutRequest"_s); put != write.constEnd())
            rc = planPutItem(table, tableName, put->toMap(), &seen, plan);
        else if (const auto del = write.constFind(u"DeleteRequest"_s); del != write.constEnd())
            rc = planDeleteItem(table, tableName, del->toMap(), &seen, plan);
        if (rc != 0)
            return rc;
    }
    return StatusSuccess;
}

} // namespace

int Requests::planBatch(TableContext& context, const QVariantMap& tables, const QByteArray& batchPath, BatchPlan* plan)
{
    for (auto table = tables.constBegin(); table != tables.constEnd(); ++table) {
        plan->lastTable = table.key().toUtf8();
        const QByteArray path = EnvironmentPath::ofTable(plan->lastTable);
        if (path != batchPath) {
            plan->report = [path, batchPath] {
                LOG_ERROR(LogOrigin::Request, __LINE__)
                    << "paths ain't same newpath " << path << " envDup " << batchPath;
            };
            for (; table != tables.constEnd(); ++table)
                plan->foreign.insert(table.key(), table.value());
            break; // the tables before it are written
        }
        if (const int rc = planTable(context, plan->lastTable, Records::listOf(table.value()), plan))
            return rc;
    }
    return StatusSuccess;
}
