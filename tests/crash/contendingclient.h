#ifndef QUORVA_TESTS_CRASH_CONTENDINGCLIENT_H
#define QUORVA_TESTS_CRASH_CONTENDINGCLIENT_H

#include "crashbench.h"
#include "shownversions.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <random>
#include <string>
#include <vector>

/** Shared by all clients: what they use, and what their replies have shown. */
class Stage {
public:
    Stage(const CrashBench& bench, const std::string& link) : home_(QString::fromStdString(bench.home()))
    {
        for (const char* range : {"1", "2", "3"})
            counters.push_back({"t0", "counters", range});
        counters.push_back({"t1", "counters", "1"});
        for (const char* range : {"1", "2"})
            deleted.push_back({"t0", "deleted", range});
        for (const char* table : {"t0", "t1"}) {
            for (const char* hash : {"batch", "counters", "other"})
                batch.push_back({table, hash, "batch"});
        }
        spellings_ = {home_, home_ + "/.", home_ + "//", QString::fromStdString(link)};
    }

    QString name(const QString& table, unsigned spelling) const
    {
        return spellings_[spelling % spellings_.size()] + '|' + table;
    }

    std::vector<Place> counters; // all clients add to them
    std::vector<Place> deleted;  // one client puts them, with a growing version, others delete them
    std::vector<Place> batch;    // one client writes all of them at once
    const QString list = "list"; // a hash key to which one client adds items
    const Place listLength{"t0", list, "length"};

    ShownVersions shown;
    // Each is the latest one requested, whether it was executed or not, and belongs to one client at a time.
    int deletedVersion = 0;
    int batchVersion = 0;
    int listed = 0;

private:
    const QString home_;
    std::vector<QString> spellings_;
};

/** One client. Each kind of work continues until there is no reply. */
class ContendingClient {
public:
    ContendingClient(Stage* stage, int port, unsigned seed);

    void addAndContend();
    void putThoseToDelete();
    void deleteThem();
    void writeBatches();
    void addToList();
    void read();

private:
    unsigned upTo(unsigned limit) { return static_cast<unsigned>(random_() >> 4) % limit; }
    const Place& anyOf(const std::vector<Place>& places) { return places[upTo(static_cast<unsigned>(places.size()))]; }

    bool send(const QByteArray& operation, const QVariantMap& body);
    bool send(const QByteArray& operation, const QString& table, QVariantMap body);
    bool get(const std::vector<Place>& places);
    bool add(const Place& place);
    bool contend(const Place& place);
    bool commit(const Place& place, int found);
    void showAll(const QString& table, const char* how);
    bool queryCounters();
    bool countList();
    bool scan();

    Stage& stage_;
    CrashClient client_;
    std::minstd_rand random_;
    QVariantMap reply_; // the latest
    bool refused_ = false;
};

#endif
