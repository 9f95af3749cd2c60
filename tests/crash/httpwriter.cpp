#include "httpwriter.h"

#include "commitentries.h"

#include "http/httpclient.h"
#include "support/tablefixture.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <cstddef>

namespace {

constexpr std::size_t MostUnitsOverHttp = 30;   // per writer
constexpr std::size_t LargestBatchOverHttp = 8; // items

QVariantMap keyOf(const ItemAddress& item)
{
    return {{"h", textValue(item.hash)}, {"r", textValue(item.range)}};
}

/** Adds the condition that an item still has its version. */
void expectVersion(const std::optional<QVariantMap>& item, QVariantMap* body)
{
    QVariantMap names = body->value("ExpressionAttributeNames").toMap();
    names.insert("#version", "version");
    body->insert("ExpressionAttributeNames", names);
    body->insert("ConditionExpression", item ? "#version = :before" : "attribute_not_exists(#version)");
    if (!item)
        return;
    QVariantMap values = body->value("ExpressionAttributeValues").toMap();
    values.insert(":before", item->value("version"));
    body->insert("ExpressionAttributeValues", values);
}

} // namespace

void HttpWriter::run(int port, const std::atomic<bool>& stop)
{
    HttpClient client(port);
    client_ = &client;
    while (!stop && step()) {
    }
    client_ = nullptr;
}

bool HttpWriter::step()
{
    if (oneIn(4))
        return add();
    if (oneIn(4))
        return contend();
    return writeUnit(nextUnit());
}

HttpWriter::Answer HttpWriter::send(const char* operation, const QVariantMap& body, QVariantMap* reply)
{
    const std::string text = Json::serialize(body).toStdString();
    const HttpAnswer answer =
        client_->exchange(std::string("POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20120810.") +
                          operation + "\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text);
    QVariant parsed;
    if (answer.status == 0 || !Json::parse(QByteArray::fromStdString(answer.body), &parsed))
        return Answer::Unknown;
    if (reply != nullptr)
        *reply = parsed.toMap();
    if (answer.status == 200)
        return Answer::Done;
    if (answer.status == 503)
        return Answer::NotDone;
    const QString type = parsed.toMap().value("__type").toString();
    if (type.endsWith("#ConditionalCheckFailedException"))
        return Answer::Refused;
    if (answer.status != 500)
        ledger_->complain(std::string(operation) + ": unexpected answer " + answer.body + " to " + text.substr(0, 400));
    return Answer::Unknown;
}

bool HttpWriter::settle(Progress* progress, Answer answer, const char* what)
{
    if (answer == Answer::Done) {
        ledger_->acknowledge(progress);
        return true;
    }
    if (answer == Answer::Refused)
        ledger_->complain(std::string(what) + ": the condition was refused although it holds");
    if (answer != Answer::Unknown)
        ledger_->refuse(progress);
    return answer == Answer::Refused;
}

QVariantMap HttpWriter::bodyFor(const ItemAddress& item) const
{
    return {{"TableName", tableName(item)}, {"Key", keyOf(item)}};
}

bool HttpWriter::add()
{
    Progress* const progress = &counter_->writers[static_cast<std::size_t>(number_)];
    ledger_->begin(progress, ledger_->acknowledged(*progress) + 1);
    QVariantMap body = bodyFor(counter_->item);
    body.insert("UpdateExpression", "ADD #all :one, #own :one");
    body.insert("ExpressionAttributeNames", QVariantMap{{"#all", "total"}, {"#own", "w" + QString::number(number_)}});
    body.insert("ExpressionAttributeValues", QVariantMap{{":one", numberValue("1")}});
    return settle(progress, send("UpdateItem", body), "a counter");
}

bool HttpWriter::contend()
{
    QVariantMap reply;
    if (send("GetItem", bodyFor(contest_->item), &reply) != Answer::Done)
        return false;
    std::optional<QVariantMap> present;
    if (reply.contains("Item"))
        present = reply.value("Item").toMap();
    const int version = present ? numberOf(*present, "version") + 1 : 1;
    QVariantMap item = keyOf(contest_->item);
    item.insert("version", numberValue(QString::number(version)));
    item.insert("by", numberValue(QString::number(number_)));
    QVariantMap body{{"TableName", tableName(contest_->item)}, {"Item", item}};
    expectVersion(present, &body);
    ledger_->beginContest(contest_, version, number_);
    const Answer answer = send("PutItem", body);
    if (answer == Answer::Done)
        ledger_->winContest(contest_, version, number_);
    else if (answer != Answer::Unknown)
        ledger_->loseContest(contest_, version, number_);
    return answer == Answer::Done || answer == Answer::Refused;
}

Unit* HttpWriter::nextUnit()
{
    const bool isNew = units_.empty() || (units_.size() < MostUnitsOverHttp && oneIn(3));
    if (!isNew)
        return units_[upTo(static_cast<unsigned>(units_.size()))];
    const std::size_t count = oneIn(5) ? 2 + upTo(LargestBatchOverHttp - 1) : 1;
    std::vector<ItemAddress> items;
    for (std::size_t i = 0; i < count; ++i)
        items.push_back({oneIn(2) ? "t0" : "t1", QStringLiteral("h%1-%2").arg(number_).arg(upTo(20)),
                         QStringLiteral("%1-%2").arg(units_.size()).arg(i)});
    units_.push_back(ledger_->addUnit(std::move(items), false));
    return units_.back();
}

bool HttpWriter::writeUnit(Unit* unit)
{
    const int before = ledger_->acknowledged(unit->progress);
    ledger_->begin(&unit->progress, before + 1);
    const Answer answer = unit->items.size() == 1 ? sendSingle(*unit, before) : sendBatch(*unit, before + 1);
    return settle(&unit->progress, answer, "a unit");
}

HttpWriter::Answer HttpWriter::sendSingle(const Unit& unit, int before)
{
    const ItemAddress& address = unit.items.front();
    const auto present = unit.contents(0, before);
    const auto wanted = unit.contents(0, before + 1);
    QVariantMap body = bodyFor(address);
    const char* operation = "DeleteItem";
    if (wanted && oneIn(2)) {
        operation = "UpdateItem";
        body.insert("UpdateExpression", "SET #version = :version, #unit = :unit, #fill = :fill");
        body.insert("ExpressionAttributeNames",
                    QVariantMap{{"#version", "version"}, {"#unit", "unit"}, {"#fill", "fill"}});
        body.insert("ExpressionAttributeValues", QVariantMap{{":version", wanted->value("version")},
                                                             {":unit", wanted->value("unit")},
                                                             {":fill", wanted->value("fill")}});
    } else if (wanted) {
        operation = "PutItem";
        body.remove("Key");
        body.insert("Item", merged(*wanted, keyOf(address)));
    }
    if (oneIn(2))
        expectVersion(present, &body);
    return send(operation, body);
}

HttpWriter::Answer HttpWriter::sendBatch(const Unit& unit, int version)
{
    QVariantMap tables;
    for (std::size_t i = 0; i < unit.items.size(); ++i) {
        const ItemAddress& address = unit.items[i];
        const auto wanted = unit.contents(i, version);
        QVariantList list = tables.value(tableName(address)).toList();
        list.append(wanted ? QVariantMap{{"PutRequest", QVariantMap{{"Item", merged(*wanted, keyOf(address))}}}}
                           : QVariantMap{{"DeleteRequest", QVariantMap{{"Key", keyOf(address)}}}});
        tables.insert(tableName(address), list);
    }
    QVariantMap reply;
    const Answer answer = send("BatchWriteItem", {{"RequestItems", tables}}, &reply);
    if (answer == Answer::Done && !reply.value("UnprocessedItems").toMap().isEmpty())
        ledger_->complain("a batch in one directory was not done as a whole");
    return answer;
}
