#include "ledger.h"

#include "support/tablefixture.h"

#include <algorithm>
#include <sstream>

namespace {

std::string nameOf(const ItemAddress& item)
{
    return (item.table + '/' + item.hash + '/' + item.range).toStdString();
}

std::string textOf(const QVariantMap& map)
{
    std::string text = Json::serialize(map).toStdString();
    constexpr std::size_t Longest = 200;
    if (text.size() > Longest)
        text = text.substr(0, Longest) + "... (" + std::to_string(text.size()) + " bytes)";
    return text;
}

int numberIn(const QVariantMap& item, const QString& attribute)
{
    return item.value(attribute).toMap().value("N").toString().toInt();
}

/** How many characters the filling of a version has: most are short, some go to further pages. */
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

/**
 * One walk over everything. The mutex is not held: a Reader may take its time, and no writer runs then.
 */
class Ledger::Check {
public:
    Check(Ledger* ledger, Reader* reader, const Floor* least) : ledger_(ledger), reader_(reader), least_(least) {}

    std::vector<std::string> run()
    {
        violations_.swap(ledger_->complaints_);
        for (Table& table : ledger_->tables_)
            check(&table);
        for (Counter& counter : ledger_->counters_)
            check(&counter);
        for (Contest& contest : ledger_->contests_)
            check(&contest);
        for (Unit& unit : ledger_->units_)
            check(&unit);
        return std::move(violations_);
    }

private:
    /** The lowest version that may be there of the next of its kind; what is younger than the floor begins with 0. */
    int lowest(std::vector<int> Floor::*kind, std::size_t* next, int acknowledged)
    {
        if (least_ == nullptr)
            return acknowledged;
        const std::vector<int>& values = least_->*kind;
        const std::size_t at = (*next)++;
        return at < values.size() ? values[at] : 0;
    }

    void violation(const std::string& name, const std::string& text) { violations_.push_back(name + ": " + text); }

    std::optional<QVariantMap> read(const ItemAddress& item)
    {
        const auto found = reader_->item(item);
        if (!found)
            violation(nameOf(item), "cannot be read");
        return found;
    }

    void settle(Progress* progress, int found)
    {
        if (least_ != nullptr)
            return;
        if (progress->inFlight != 0)
            ++(found == progress->inFlight ? ledger_->keptInFlight_ : ledger_->lostInFlight_);
        *progress = {found, 0};
    }

    static std::string bounds(int low, int high)
    {
        return "acknowledged is version " + std::to_string(low) + ", at most " + std::to_string(high) +
               " was asked for";
    }

    void check(Table* table)
    {
        const int low = lowest(&Floor::tables, &tables_, table->progress.acknowledged);
        const int high = table->progress.highest();
        const auto description = reader_->description(table->name);
        if (!description)
            return violation(table->name.toStdString(), "cannot be described");
        const int found = description->value("ProvisionedThroughput").toMap().value("ReadCapacityUnits").toInt();
        if (found < low || found > high)
            violation(table->name.toStdString(), "found is " + textOf(*description) + ", " + bounds(low, high));
        if (found != 0 && description->value("KeySchema").toMap() != keySchema())
            violation(table->name.toStdString(), "its key schema is " + textOf(*description));
        settle(&table->progress, found);
    }

    void check(Counter* counter)
    {
        const auto item = read(counter->item);
        int sum = 0;
        for (std::size_t writer = 0; writer < counter->writers.size(); ++writer) {
            Progress* progress = &counter->writers[writer];
            const int low = lowest(&Floor::counters, &counters_, progress->acknowledged);
            const int high = progress->highest();
            if (!item)
                continue;
            const int found = numberIn(*item, "w" + QString::number(writer));
            if (found < low || found > high)
                violation(nameOf(counter->item), "writer " + std::to_string(writer) + " added " +
                                                     std::to_string(found) + ", " + bounds(low, high));
            sum += found;
            settle(progress, found);
        }
        if (item && numberIn(*item, "total") != sum)
            violation(nameOf(counter->item), "the total is not the sum of its parts: " + textOf(*item));
    }

    void check(Contest* contest)
    {
        const int low = lowest(&Floor::contests, &contests_, contest->acknowledged);
        const auto item = read(contest->item);
        if (!item)
            return;
        const int found = numberIn(*item, "version");
        const int by = numberIn(*item, "by");
        if (found < low)
            violation(nameOf(contest->item),
                      "version " + std::to_string(found) + ", although " + std::to_string(low) + " was acknowledged");
        const auto candidates = contest->candidates.find(found);
        if (found != 0 && (candidates == contest->candidates.end() || !candidates->second.contains(by)))
            violation(nameOf(contest->item), "nobody wrote " + textOf(*item));
        const auto winner = contest->winners.find(found);
        if (winner != contest->winners.end() && winner->second != by)
            violation(nameOf(contest->item), "version " + std::to_string(found) + " was acknowledged to writer " +
                                                 std::to_string(winner->second) + ", found is " + textOf(*item));
        if (least_ != nullptr)
            return;
        // Versions below were written and replaced; those above never came to be, and will be written by others.
        contest->acknowledged = found;
        contest->candidates.erase(contest->candidates.upper_bound(found), contest->candidates.end());
        contest->winners.erase(contest->winners.upper_bound(found), contest->winners.end());
        if (found != 0)
            contest->winners[found] = by;
    }

    void check(Unit* unit)
    {
        const int low = lowest(&Floor::units, &units_, unit->progress.acknowledged);
        const int high = unit->progress.highest();
        std::vector<std::optional<QVariantMap>> found;
        for (const ItemAddress& address : unit->items) {
            const auto item = read(address);
            if (!item)
                return;
            found.push_back(item->isEmpty() ? std::nullopt : item);
        }
        for (int version = high; version >= low; --version) {
            if (isVersion(*unit, found, version)) {
                settle(&unit->progress, version);
                return;
            }
        }
        std::ostringstream text;
        text << unit->items.size() << " items are of no allowed version, " << bounds(low, high) << ", found is";
        for (const auto& item : found)
            text << ' ' << (item ? textOf(*item) : "nothing");
        violation(nameOf(unit->items.front()), text.str());
    }

    static bool isVersion(const Unit& unit, const std::vector<std::optional<QVariantMap>>& found, int version)
    {
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (found[i] != unit.contents(i, version))
                return false;
        }
        return true;
    }

    Ledger* ledger_;
    Reader* reader_;
    const Floor* least_;     // null: the ledger's own, and what was in flight is settled
    std::size_t tables_ = 0; // how far the floor of each kind was read
    std::size_t counters_ = 0;
    std::size_t contests_ = 0;
    std::size_t units_ = 0;
    std::vector<std::string> violations_;
};

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

std::vector<std::string> Ledger::verify(Reader* reader)
{
    return Check(this, reader, nullptr).run();
}

std::vector<std::string> Ledger::verifyCopy(Reader* reader, const Floor& least)
{
    return Check(this, reader, &least).run();
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
