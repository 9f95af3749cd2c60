/* How a ledger compares its records with the current state. */
#include "ledger.h"

#include "ledgertext.h"
#include "support/tablefixture.h"

#include <cstddef>
#include <optional>
#include <sstream>
#include <utility>

namespace {

int numberIn(const QVariantMap& item, const QString& attribute)
{
    return item.value(attribute).toMap().value("N").toString().toInt();
}

} // namespace

/** One pass over everything. Takes no lock: a Reader may be slow, and no writer runs at that time. */
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
    /** The lowest version that the next element of its kind may have: 0 if it is newer than the floor. */
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
        // Lower versions were written and replaced. Higher ones were never stored, so anyone may write them again.
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

std::vector<std::string> Ledger::verify(Reader* reader)
{
    return Check(this, reader, nullptr).run();
}

std::vector<std::string> Ledger::verifyCopy(Reader* reader, const Floor& least)
{
    return Check(this, reader, &least).run();
}
