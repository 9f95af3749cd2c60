/* What a writer does by Commit. */
#include "writer.h"

#include "commitentries.h"
#include "crashclient.h"

#include <cstddef>
#include <optional>
#include <utility>

Writer::Answer Writer::commit(const ItemAddress& item, const std::optional<QVariantMap>& present,
                              const QVariantMap& wanted)
{
    const QString table = client_->tableName(item.table);
    return send("Quorva_1.Commit",
                {{"Entries", QVariantList{commitEntry(table, item.hash, item.range, present, wanted)}}});
}

Writer::Answer Writer::sendCommit(const Unit& unit, int before)
{
    QVariantList entries;
    for (std::size_t i = 0; i < unit.items.size(); ++i) {
        const ItemAddress& address = unit.items[i];
        entries.append(commitEntry(client_->tableName(address.table), address.hash, address.range,
                                   unit.contents(i, before), unit.contents(i, before + 1)));
    }
    return send("Quorva_1.Commit", {{"Entries", entries}});
}

Writer::Answer Writer::read(const ItemAddress& item, std::optional<QVariantMap>* present)
{
    QVariantMap reply;
    const Answer answer = send(
        "GetItem", {{"TableName", client_->tableName(item.table)}, {"Key", itemKey(item.hash, item.range)}}, &reply);
    present->reset();
    if (reply.contains("Item"))
        *present = reply.value("Item").toMap();
    return answer;
}

bool Writer::addByCommit(Counter* counter)
{
    std::optional<QVariantMap> present;
    if (const Answer answer = read(counter->item, &present); answer != Answer::Done)
        return answer != Answer::None;
    QVariantMap sums = present.value_or(QVariantMap());
    for (const QString& name : {QStringLiteral("total"), "w" + QString::number(number_)})
        sums.insert(name, numberValue(QString::number(numberOf(sums, name) + 1)));
    Progress* progress = &counter->writers[static_cast<std::size_t>(number_)];
    ledger_->begin(progress, ledger_->acknowledged(*progress) + 1);
    const Answer answer = commit(counter->item, present, sums);
    if (answer != Answer::Refused)
        return settle(progress, answer, "a counter");
    ledger_->refuse(progress); // another writer came between
    return true;
}
