#ifndef QUORVA_TESTS_CRASH_HTTPWRITER_H
#define QUORVA_TESTS_CRASH_HTTPWRITER_H

#include "ledger.h"

#include <QString>
#include <QVariantMap>

#include <atomic>
#include <memory>
#include <optional>
#include <random>
#include <vector>

class HttpClient;

/**
 * A client of the API of 2012-08-10, which writes units of its own and has a share in counters and contests, like
 * Writer. Used by one thread at a time.
 */
class HttpWriter {
public:
    HttpWriter(Ledger* ledger, QString home, int number, unsigned seed)
        : ledger_(ledger), home_(std::move(home)), number_(number), random_(seed)
    {}

    void share(Counter* counter, Contest* contest)
    {
        counter_ = counter;
        contest_ = contest;
    }

    /** Writes until the server is lost or `stop` is set. */
    void run(int port, const std::atomic<bool>& stop);

private:
    enum class Answer {
        Done,
        Refused, // a condition does not hold
        NotDone, // the server could not be reached
        Unknown, // no answer, or one that says that the request may have been executed
    };

    unsigned upTo(unsigned limit) { return static_cast<unsigned>(random_() >> 4) % limit; }
    bool oneIn(unsigned chances) { return upTo(chances) == 0; }

    // Each of these returns false if the writer should stop.
    bool step();
    bool add();
    bool contend();
    bool writeUnit(Unit* unit);
    bool settle(Progress* progress, Answer answer, const char* what);

    Unit* nextUnit();
    Answer sendSingle(const Unit& unit, int before);
    Answer sendBatch(const Unit& unit, int version);
    Answer send(const char* operation, const QVariantMap& body, QVariantMap* reply = nullptr);
    QVariantMap bodyFor(const ItemAddress& item) const;
    QString tableName(const ItemAddress& item) const { return home_ + '|' + item.table; }

    Ledger* const ledger_;
    const QString home_;
    const int number_;
    std::minstd_rand random_;
    HttpClient* client_ = nullptr; // while it runs
    std::vector<Unit*> units_;
    Counter* counter_ = nullptr;
    Contest* contest_ = nullptr;
};

#endif
