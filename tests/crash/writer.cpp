#include "writer.h"

#include "commitentries.h"
#include "crashclient.h"

#include <cstddef>
#include <optional>
#include <string>

namespace {

constexpr std::size_t MostUnits = 90;   // per writer; a first touch opens a file, and an environment has room for 1023
constexpr std::size_t MostTables = 12;  // per writer that creates tables
constexpr std::size_t LargestBatch = 8; // items

QVariantMap keyed(const ItemAddress& address, const QVariantMap& attributes)
{
    return merged(attributes, {{"h", textValue(address.hash)}, {"r", textValue(address.range)}});
}

QVariantMap action(const char* name, const QVariantMap& value)
{
    return {{"Action", name}, {"Value", value}};
}

/** The condition that an item still has its version. */
QVariantMap versionIn(const std::optional<QVariantMap>& item)
{
    return item ? QVariantMap{{"Value", item->value("version")}} : QVariantMap{{"Exists", false}};
}

} // namespace

void Writer::share(Counter* counter, Contest* contest)
{
    counters_.push_back(counter);
    contests_.push_back(contest);
}

void Writer::run(int port, const std::atomic<bool>& stop)
{
    CrashClient client(port, home_);
    client_ = &client;
    while (!stop && step()) {
    }
    client_ = nullptr;
}

bool Writer::step()
{
    if ((tasks_.createTables && number_ < 3 && oneIn(3)) || (tasks_.firstTouch && !hasTable()))
        return createTable();
    if (!tasks_.firstTouch) {
        if (oneIn(8))
            return add(counters_[upTo(static_cast<unsigned>(counters_.size()))]);
        if (oneIn(8))
            return contend(contests_[upTo(static_cast<unsigned>(contests_.size()))]);
    }
    return writeUnit(nextUnit());
}

Writer::Answer Writer::send(const QByteArray& operation, const QVariantMap& body, QVariantMap* reply)
{
    const auto answer = client_->request(operation, body);
    if (!answer)
        return Answer::None;
    if (reply != nullptr)
        *reply = *answer;
    if (answer->value("__rc") == QVariant(200LL) && !answer->contains("UnprocessedItems"))
        return Answer::Done;
    if (answer->value("__type") == QVariant("ConditionalCheckFailedException"))
        return Answer::Refused;
    // A table is not found while its environment is being closed.
    if (answer->value("__rcstr") != QVariant("Not Found"))
        ledger_->complain(operation.toStdString() + ": unexpected reply " + Json::serialize(*answer).toStdString() +
                          " to " + Json::serialize(body).left(400).toStdString());
    return Answer::Failed;
}

bool Writer::settle(Progress* progress, Answer answer, const char* what)
{
    if (answer == Answer::None)
        return false;
    if (answer == Answer::Done) {
        ledger_->acknowledge(progress);
        return true;
    }
    if (answer == Answer::Refused)
        ledger_->complain(std::string(what) + ": the condition was refused although it holds");
    ledger_->refuse(progress);
    return true;
}

bool Writer::createTable()
{
    const std::size_t most = tasks_.firstTouch ? 1 : MostTables;
    const bool again = !ownTables_.empty() && (ownTables_.size() >= most || oneIn(3));
    Table* table = again ? ownTables_[upTo(static_cast<unsigned>(ownTables_.size()))]
                         : ledger_->addTable(QStringLiteral("c%1_%2").arg(number_).arg(ownTables_.size()));
    if (!again)
        ownTables_.push_back(table);
    const int version = ledger_->acknowledged(table->progress) + 1;
    ledger_->begin(&table->progress, version);
    const Answer answer = send("CreateTable", {{"TableName", client_->tableName(table->name)},
                                               {"KeySchema", keySchema()},
                                               {"ProvisionedThroughput", QVariantMap{{"ReadCapacityUnits", version}}}});
    return settle(&table->progress, answer, "CreateTable");
}

QString Writer::tableForUnit()
{
    if (tasks_.firstTouch || (tasks_.createTables && !ownTables_.empty() && oneIn(2))) {
        const Table* table = ownTables_[upTo(static_cast<unsigned>(ownTables_.size()))];
        if (tasks_.firstTouch || ledger_->acknowledged(table->progress) != 0)
            return table->name;
    }
    return SharedTables[upTo(SharedTables.size())];
}

Unit* Writer::nextUnit()
{
    const bool isNew = units_.empty() || (units_.size() < MostUnits && (tasks_.firstTouch ? !oneIn(8) : oneIn(3)));
    if (!isNew)
        return units_[upTo(static_cast<unsigned>(units_.size()))];
    const std::size_t count = oneIn(5) ? 2 + upTo(LargestBatch - 1) : 1;
    std::vector<ItemAddress> items;
    for (std::size_t i = 0; i < count; ++i) {
        // Items of one hash key are neighbours on their pages; other hash keys are in other partitions.
        const int group = tasks_.firstTouch ? static_cast<int>(units_.size()) : static_cast<int>(upTo(20));
        items.push_back({tableForUnit(), QStringLiteral("w%1-%2").arg(number_).arg(group),
                         QStringLiteral("%1-%2").arg(units_.size()).arg(i)});
    }
    units_.push_back(ledger_->addUnit(std::move(items), tasks_.largeValues));
    return units_.back();
}

bool Writer::writeUnit(Unit* unit)
{
    const int before = ledger_->acknowledged(unit->progress);
    ledger_->begin(&unit->progress, before + 1);
    const Answer answer = oneIn(3)                  ? sendCommit(*unit, before)
                          : unit->items.size() == 1 ? sendSingle(*unit, before)
                                                    : sendBatch(*unit, before + 1);
    if (answer == Answer::Failed && tasks_.firstTouch)
        ledger_->complain("a table that nobody closes is not to be found");
    return settle(&unit->progress, answer, "a unit");
}

Writer::Answer Writer::sendSingle(const Unit& unit, int before)
{
    const ItemAddress& address = unit.items.front();
    const auto present = unit.contents(0, before);
    const auto wanted = unit.contents(0, before + 1);
    QVariantMap body{{"TableName", client_->tableName(address.table)}};
    if (oneIn(2))
        body.insert("Expected", QVariantMap{{"version", versionIn(present)}});
    if (!wanted) {
        body.insert("Key", itemKey(address.hash, address.range));
        return send("DeleteItem", body);
    }
    if (oneIn(3)) {
        QVariantMap updates;
        for (auto attribute = wanted->begin(); attribute != wanted->end(); ++attribute)
            updates.insert(attribute.key(), action("PUT", attribute.value().toMap()));
        body.insert("Key", itemKey(address.hash, address.range));
        body.insert("AttributeUpdates", updates);
        return send("UpdateItem", body);
    }
    body.insert("Item", keyed(address, *wanted));
    return send("PutItem", body);
}

Writer::Answer Writer::sendBatch(const Unit& unit, int version)
{
    QVariantMap tables;
    for (std::size_t i = 0; i < unit.items.size(); ++i) {
        const ItemAddress& address = unit.items[i];
        const auto wanted = unit.contents(i, version);
        const QVariantMap entry =
            wanted ? QVariantMap{{"PutRequest", QVariantMap{{"Item", keyed(address, *wanted)}}}}
                   : QVariantMap{{"DeleteRequest", QVariantMap{{"Key", itemKey(address.hash, address.range)}}}};
        QVariantList list = tables.value(client_->tableName(address.table)).toList();
        list.append(entry);
        tables.insert(client_->tableName(address.table), list);
    }
    return send("BatchWriteItem", {{"RequestItems", tables}});
}

bool Writer::add(Counter* counter)
{
    if (oneIn(2))
        return addByCommit(counter);
    Progress* progress = &counter->writers[static_cast<std::size_t>(number_)];
    ledger_->begin(progress, ledger_->acknowledged(*progress) + 1);
    const QVariantMap one = action("ADD", numberValue("1"));
    const Answer answer =
        send("UpdateItem", {{"TableName", client_->tableName(counter->item.table)},
                            {"Key", itemKey(counter->item.hash, counter->item.range)},
                            {"AttributeUpdates", QVariantMap{{"total", one}, {"w" + QString::number(number_), one}}}});
    return settle(progress, answer, "a counter");
}

bool Writer::contend(Contest* contest)
{
    std::optional<QVariantMap> present;
    if (const Answer answer = read(contest->item, &present); answer != Answer::Done)
        return answer != Answer::None;
    const int version = present ? numberOf(*present, "version") + 1 : 1;
    const QVariantMap attributes{{"version", numberValue(QString::number(version))},
                                 {"by", numberValue(QString::number(number_))}};
    ledger_->beginContest(contest, version, number_);
    const Answer answer = oneIn(2) ? commit(contest->item, present, attributes)
                                   : send("PutItem", {{"TableName", client_->tableName(contest->item.table)},
                                                      {"Item", keyed(contest->item, attributes)},
                                                      {"Expected", QVariantMap{{"version", versionIn(present)}}}});
    if (answer == Answer::Done)
        ledger_->winContest(contest, version, number_);
    else if (answer != Answer::None)
        ledger_->loseContest(contest, version, number_);
    return answer != Answer::None;
}
