#ifndef QUORVA_TESTS_CRASH_WRITER_H
#define QUORVA_TESTS_CRASH_WRITER_H

#include "ledger.h"
#include "writertasks.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <array>
#include <atomic>
#include <optional>
#include <random>
#include <utility>
#include <vector>

class CrashClient;

inline constexpr std::array SharedTables{"t0", "t1"}; // all writers use them

/** One client, with units of its own and a share in the counters and contests. Used by one thread at a time. */
class Writer {
public:
    Writer(Ledger* ledger, QString home, WriterTasks tasks, int number, unsigned seed)
        : ledger_(ledger), home_(std::move(home)), tasks_(tasks), number_(number), random_(seed)
    {}

    void share(Counter* counter, Contest* contest);

    /** Writes until there is no reply or `stop` is set. */
    void run(int port, const std::atomic<bool>& stop);

private:
    enum class Answer { Done, Refused, Failed, None };

    unsigned upTo(unsigned limit) { return static_cast<unsigned>(random_() >> 4) % limit; }
    bool oneIn(unsigned chances) { return upTo(chances) == 0; }

    /** Sends the next request, chosen at random; false when there was no reply. */
    bool step();

    Answer send(const QByteArray& operation, const QVariantMap& body, QVariantMap* reply = nullptr);

    /** Records in the ledger how the request in flight was answered; false if there was no reply. */
    bool settle(Progress* progress, Answer answer, const char* what);

    /** With firstTouch: whether this writer's table was created. */
    bool hasTable() const { return !ownTables_.empty() && ledger_->acknowledged(ownTables_.front()->progress) != 0; }

    // Each of these sends one request, and returns false when there was no reply.
    bool createTable();
    bool writeUnit(Unit* unit);
    bool add(Counter* counter);
    bool addByCommit(Counter* counter);
    bool contend(Contest* contest);

    /** A table that is known to exist, shared or this writer's own. */
    QString tableForUnit();

    /** The unit to write next: one of this writer's, or a new one. */
    Unit* nextUnit();
    Answer sendSingle(const Unit& unit, int before);
    Answer sendBatch(const Unit& unit, int version);
    Answer sendCommit(const Unit& unit, int before);

    /** A Commit of one item. */
    Answer commit(const ItemAddress& item, const std::optional<QVariantMap>& present, const QVariantMap& wanted);

    /** Reads an item; `present` is unset if it does not exist, or there is no answer. */
    Answer read(const ItemAddress& item, std::optional<QVariantMap>* present);

    Ledger* const ledger_;
    const QString home_;
    const WriterTasks tasks_;
    const int number_;
    std::minstd_rand random_;
    CrashClient* client_ = nullptr; // while it runs
    std::vector<Unit*> units_;
    std::vector<Table*> ownTables_;
    std::vector<Counter*> counters_;
    std::vector<Contest*> contests_;
};

#endif
