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
 * How far something got that goes from version to version, one request at a time: what was acknowledged last, and what
 * was asked for without an answer so far, or ever. Version 0 is before the first request.
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
 * One item, or several that are always written in one batch, by one writer. What they hold follows from the version: so
 * after a crash all of them must be of one version, the acknowledged one or that in flight.
 */
struct Unit {
    int number = 0;
    bool large = false; // some versions have values of several pages, and of hundreds of kilobytes
    std::vector<ItemAddress> items{};
    Progress progress{};

    /** The attributes of an item in a version; nothing when it is not there in that version. */
    std::optional<QVariantMap> contents(std::size_t index, int version) const;
};

/**
 * An item to which every writer adds: 1 to the attribute "total" and 1 to one of the writer's own, in one update. Each
 * writer's is what was acknowledged or one more, and the total their sum.
 */
struct Counter {
    ItemAddress item{};
    std::vector<Progress> writers{};
};

/**
 * An item that every writer tries to bring from version n, as a condition, to n + 1, with the writer's number in it. No
 * version may be acknowledged to two.
 */
struct Contest {
    ItemAddress item{};
    int acknowledged = 0;
    std::map<int, int> winners{};              // writer by version, where acknowledged
    std::map<int, std::set<int>> candidates{}; // writers by version, refused ones left out
};

/** A table whose description says which CreateTable was the last. */
struct Table {
    QString name; // without the directory
    Progress progress{};
};

/** Where items and descriptions are read. Empty maps for what is not there; nothing when the read itself failed. */
class Reader {
public:
    virtual ~Reader() = default;
    virtual std::optional<QVariantMap> item(const ItemAddress& address) = 0;
    virtual std::optional<QVariantMap> description(const QString& table) = 0;
};

/**
 * All that the writers did, for as long as an environment lives through its crashes. Writers call it from their
 * threads; addresses of what it holds stay valid.
 */
class Ledger {
public:
    explicit Ledger(int writers) : writers_(writers) {}

    Unit* addUnit(std::vector<ItemAddress> items, bool large);
    Counter* addCounter(const ItemAddress& item);
    Contest* addContest(const ItemAddress& item);
    Table* addTable(const QString& name);
    int writers() const { return writers_; }

    /** Before a request, and after its reply: it was done, or it was refused and cannot have had an effect. */
    void begin(Progress* progress, int version);
    void acknowledge(Progress* progress);
    void refuse(Progress* progress);
    int acknowledged(const Progress& progress) const;

    void beginContest(Contest* contest, int version, int writer);
    void winContest(Contest* contest, int version, int writer);
    void loseContest(Contest* contest, int version, int writer);

    /** Something that must not happen happened while the server ran. */
    void complain(const std::string& text);

    /** What was acknowledged until now, for those who read a copy of the environment: of each kind, in order. */
    struct Floor {
        std::vector<int> tables{};
        std::vector<int> counters{};
        std::vector<int> contests{};
        std::vector<int> units{};
    };
    Floor floor() const;
    long long acknowledgements() const;

    /**
     * Compares everything with what is there and forgets what was in flight: what is found is from now on what has to
     * stay. What is wrong, a line each; no line when all is well.
     */
    std::vector<std::string> verify(Reader* reader);

    /** Compares a copy that holds at least `least`, and changes nothing. To be asked before verify(). */
    std::vector<std::string> verifyCopy(Reader* reader, const Floor& least);

    using Items = std::map<std::pair<QString, QString>, QVariantMap>; // by hash and range key

    /** The hash keys of a table that were used. */
    std::set<QString> hashes(const QString& table) const;

    /**
     * Compares all items of a table, after a verify() that found nothing wrong: no other items are there than those
     * that were written, and each is found by a walk as well. What is wrong, a line each.
     */
    std::vector<std::string> compareAll(const QString& table, Items found) const;

    /** Of the requests that a crash left without an answer, how many had their effect and how many had none. */
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
