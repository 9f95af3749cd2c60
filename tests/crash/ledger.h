#ifndef QUORVA_TESTS_CRASH_LEDGER_H
#define QUORVA_TESTS_CRASH_LEDGER_H

#include <QString>
#include <QVariantMap>

#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

/**
 * The progress of something that is written version by version, one request at a time: the version that was
 * acknowledged last, and the one that was requested but not, or not yet, answered. Version 0 is before the first
 * request.
 */
struct Progress {
    int acknowledged = 0;
    int inFlight = 0; // 0: nothing

    int highest() const { return inFlight == 0 ? acknowledged : inFlight; }
};

struct ItemAddress {
    QString table; // without the directory
    QString hash;
    QString range;
};

/**
 * One item, or several that one writer always writes in one batch. The version determines their contents, so after a
 * crash all of them must have the same version: the one acknowledged or the one in flight.
 */
struct Unit {
    int number = 0;
    bool large = false; // some versions have values of several pages, or of hundreds of kilobytes
    std::vector<ItemAddress> items{};
    Progress progress{};

    /** The attributes of an item in a version; nothing when the item does not exist in that version. */
    std::optional<QVariantMap> contents(std::size_t index, int version) const;
};

/**
 * An item that every writer increments: the attribute "total" and one of the writer's own, in one update. After a crash
 * each writer's attribute is what was acknowledged or one more, and the total is their sum.
 */
struct Counter {
    ItemAddress item{};
    std::vector<Progress> writers{};
};

/**
 * An item that every writer tries to bring from version n to n + 1, on the condition that it still has version n, with
 * the writer's number in it. No version may be acknowledged to two writers.
 */
struct Contest {
    ItemAddress item{};
    int acknowledged = 0;
    std::map<int, int> winners{};              // writer by version, where acknowledged
    std::map<int, std::set<int>> candidates{}; // writers by version, without those that were refused
};

/** A table whose description shows which CreateTable was the last. */
struct Table {
    QString name; // without the directory
    Progress progress{};
};

/** Reads items and descriptions: an empty map for what does not exist, nothing when the read itself failed. */
class Reader {
public:
    virtual ~Reader() = default;
    virtual std::optional<QVariantMap> item(const ItemAddress& address) = 0;
    virtual std::optional<QVariantMap> description(const QString& table) = 0;
};

/**
 * Everything that the writers did to an environment, across its crashes. Writers call it from their threads; pointers
 * to its elements stay valid.
 */
class Ledger {
public:
    explicit Ledger(int writers) : writers_(writers) {}

    Unit* addUnit(std::vector<ItemAddress> items, bool large);
    Counter* addCounter(const ItemAddress& item);
    Contest* addContest(const ItemAddress& item);
    Table* addTable(const QString& name);
    int writers() const { return writers_; }

    /** Called before a request, and after its reply: done, or refused and so without effect. */
    void begin(Progress* progress, int version);
    void acknowledge(Progress* progress);
    void refuse(Progress* progress);
    int acknowledged(const Progress& progress) const;

    void beginContest(Contest* contest, int version, int writer);
    void winContest(Contest* contest, int version, int writer);
    void loseContest(Contest* contest, int version, int writer);

    /** Records something that must not happen while the server runs. */
    void complain(const std::string& text);

    /** What had been acknowledged at some moment, of each kind, in order: a copy of the environment must contain it. */
    struct Floor {
        std::vector<int> tables{};
        std::vector<int> counters{};
        std::vector<int> contests{};
        std::vector<int> units{};
    };
    Floor floor() const;
    long long acknowledgements() const;

    /**
     * Compares everything with the current state, and settles requests in flight: what is found must persist from now
     * on. Returns a line for each error.
     */
    std::vector<std::string> verify(Reader* reader);

    /** Compares a copy that contains at least `least`, and changes nothing. Call before verify(). */
    std::vector<std::string> verifyCopy(Reader* reader, const Floor& least);

    using Items = std::map<std::pair<QString, QString>, QVariantMap>; // by hash and range key

    /** The hash keys that were used in a table. */
    std::set<QString> hashes(const QString& table) const;

    /**
     * Compares all items that queries of a table found, after a verify() without errors: there must be none but those
     * that were written. Returns a line for each error.
     */
    std::vector<std::string> compareAll(const QString& table, Items found) const;

    /** How many of the requests that a crash left unanswered took effect, and how many did not. */
    long long keptInFlight() const { return keptInFlight_; }
    long long lostInFlight() const { return lostInFlight_; }

private:
    class Check;

    const int writers_;
    mutable std::mutex mutex_; // guards everything below
    std::deque<Unit> units_;
    std::deque<Counter> counters_;
    std::deque<Contest> contests_;
    std::deque<Table> tables_;
    std::vector<std::string> complaints_;
    long long acknowledgements_ = 0;
    long long keptInFlight_ = 0;
    long long lostInFlight_ = 0;
};

#endif
