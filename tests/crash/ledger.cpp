#include "ledger.h"

#include "ledgertext.h"
#include "support/tablefixture.h"

#include <algorithm>

namespace {

/** How many characters of filling a version has: mostly few, sometimes enough for further pages. */
int fillLength(const Unit& unit, std::size_t index, int version)
{
    const unsigned mixed = (static_cast<unsigned>(unit.number) * 2654435761U) ^
                           (static_cast<unsigned>(version) * 40503U + static_cast<unsigned>(index) * 977U);
    const unsigned dice = (mixed >> 7) % 16;
    if (unit.large && dice < 2)
        return 200'000 + static_cast<int>(mixed % 100'000);
    return dice == 2 ? static_cast<int>(mixed % 9000) : static_cast<int>(mixed % 300);
}

} // namespace

std::optional<QVariantMap> Unit::contents(std::size_t index, int version) const
{
    const int phase = (version + static_cast<int>(index)) % 5;
    if (version == 0 || phase == 0)
        return std::nullopt;
    return QVariantMap{{"version", numberValue(QString::number(version))},
                       {"unit", textValue(QString::number(number))},
                       {"fill", textValue(QString(fillLength(*this, index, version), QChar('a' + phase)))}};
}

Unit* Ledger::addUnit(std::vector<ItemAddress> items, bool large)
{
    const std::lock_guard lock(mutex_);
    return &units_.emplace_back(Unit{static_cast<int>(units_.size()) + 1, large, std::move(items)});
}

Counter* Ledger::addCounter(const ItemAddress& item)
{
    const std::lock_guard lock(mutex_);
    return &counters_.emplace_back(Counter{item, std::vector<Progress>(static_cast<std::size_t>(writers_))});
}

Contest* Ledger::addContest(const ItemAddress& item)
{
    const std::lock_guard lock(mutex_);
    return &contests_.emplace_back(Contest{item});
}

Table* Ledger::addTable(const QString& name)
{
    const std::lock_guard lock(mutex_);
    return &tables_.emplace_back(Table{name});
}

void Ledger::begin(Progress* progress, int version)
{
    const std::lock_guard lock(mutex_);
    progress->inFlight = version;
}

void Ledger::acknowledge(Progress* progress)
{
    const std::lock_guard lock(mutex_);
    progress->acknowledged = progress->inFlight;
    progress->inFlight = 0;
    ++acknowledgements_;
}

void Ledger::refuse(Progress* progress)
{
    const std::lock_guard lock(mutex_);
    progress->inFlight = 0;
}

int Ledger::acknowledged(const Progress& progress) const
{
    const std::lock_guard lock(mutex_);
    return progress.acknowledged;
}

void Ledger::beginContest(Contest* contest, int version, int writer)
{
    const std::lock_guard lock(mutex_);
    contest->candidates[version].insert(writer);
}

void Ledger::winContest(Contest* contest, int version, int writer)
{
    const std::lock_guard lock(mutex_);
    const auto [winner, first] = contest->winners.emplace(version, writer);
    if (!first) {
        complaints_.push_back(nameOf(contest->item) + ": version " + std::to_string(version) +
                              " was acknowledged to the writers " + std::to_string(winner->second) + " and " +
                              std::to_string(writer));
    }
    contest->acknowledged = std::max(contest->acknowledged, version);
    ++acknowledgements_;
}

void Ledger::loseContest(Contest* contest, int version, int writer)
{
    const std::lock_guard lock(mutex_);
    contest->candidates[version].erase(writer);
}

void Ledger::complain(const std::string& text)
{
    const std::lock_guard lock(mutex_);
    complaints_.push_back(text);
}

long long Ledger::acknowledgements() const
{
    const std::lock_guard lock(mutex_);
    return acknowledgements_;
}

Ledger::Floor Ledger::floor() const
{
    const std::lock_guard lock(mutex_);
    Floor result;
    for (const Table& table : tables_)
        result.tables.push_back(table.progress.acknowledged);
    for (const Counter& counter : counters_) {
        for (const Progress& progress : counter.writers)
            result.counters.push_back(progress.acknowledged);
    }
    for (const Contest& contest : contests_)
        result.contests.push_back(contest.acknowledged);
    for (const Unit& unit : units_)
        result.units.push_back(unit.progress.acknowledged);
    return result;
}

std::vector<std::string> Ledger::compareAll(const QString& table, Items found) const
{
    const std::lock_guard lock(mutex_);
    std::vector<std::string> violations;
    for (const Unit& unit : units_) {
        for (std::size_t i = 0; i < unit.items.size(); ++i) {
            const ItemAddress& address = unit.items[i];
            if (address.table != table)
                continue;
            const auto item = found.find({address.hash, address.range});
            const auto expected = unit.contents(i, unit.progress.acknowledged);
            if (expected ? item == found.end() || item->second != *expected : item != found.end())
                violations.push_back(nameOf(address) + ": a query finds " +
                                     (item == found.end() ? "nothing" : textOf(item->second)));
            if (item != found.end())
                found.erase(item);
        }
    }
    for (const Counter& counter : counters_)
        found.erase({counter.item.hash, counter.item.range});
    for (const Contest& contest : contests_)
        found.erase({contest.item.hash, contest.item.range});
    for (const auto& [key, item] : found)
        violations.push_back(nameOf({table, key.first, key.second}) + ": nobody wrote " + textOf(item));
    return violations;
}

std::set<QString> Ledger::hashes(const QString& table) const
{
    const std::lock_guard lock(mutex_);
    std::set<QString> result;
    for (const Unit& unit : units_) {
        for (const ItemAddress& address : unit.items) {
            if (address.table == table)
                result.insert(address.hash);
        }
    }
    return result;
}
