/*
 * No reply shows what a loss of power could still take away. Clients read and write the same items side by side, on a
 * disk that takes its time for the log; a server is killed at a random instant, all that was not synchronised is lost,
 * and then everything that any reply has shown, also by refusing a condition, is there, or something later.
 */
#include "crashbench.h"

#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using namespace std::chrono_literals;

/** An item whose attribute "version" only ever grows. Several of a hash key share their leaf. */
struct Place {
    QString table;
    QString hash;
    QString range;

    auto operator<=>(const Place& other) const
    {
        return std::tie(table, hash, range) <=> std::tie(other.table, other.hash, other.range);
    }
    bool operator==(const Place&) const = default;
};

int versionOf(const QVariantMap& item)
{
    return item.value("version").toMap().value("N").toString().toInt();
}

QVariantMap version(int number)
{
    return {{"version", numberValue(QString::number(number))}};
}

QVariantMap itemAt(const Place& place, int number)
{
    return merged(version(number), {{"h", textValue(place.hash)}, {"r", textValue(place.range)}});
}

/** The least that each item must be, from what replies have shown. */
class ShownVersions {
public:
    void show(const Place& place, int version, const char* how)
    {
        const std::lock_guard lock(mutex_);
        Least& least = leasts_[place];
        ++shown_;
        if (version > least.version)
            least = {version, how};
    }
    int least(const Place& place)
    {
        const std::lock_guard lock(mutex_);
        return leasts_[place].version;
    }
    long long count()
    {
        const std::lock_guard lock(mutex_);
        return shown_;
    }
    /** What has shown the least. */
    const char* how(const Place& place)
    {
        const std::lock_guard lock(mutex_);
        return leasts_[place].how;
    }

private:
    struct Least {
        int version = 0;
        const char* how = "nothing";
    };
    std::mutex mutex_; // guards the following
    std::map<Place, Least> leasts_;
    long long shown_ = 0;
};

/** What all clients use. */
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

    std::vector<Place> counters; // everybody adds to them
    std::vector<Place> deleted;  // one client puts them, with a growing version, others delete them
    std::vector<Place> batch;    // one client writes all of them at once
    const QString list = "list"; // a hash key to which one client adds items
    const Place listLength{"t0", list, "length"};

    ShownVersions shown;
    // Each is the latest that was asked for, whether it was done or not, and belongs to one client at a time.
    int deletedVersion = 0;
    int batchVersion = 0;
    int listed = 0;

private:
    const QString home_;
    std::vector<QString> spellings_;
};

/** One client: goes on until it gets no reply. */
class Client {
public:
    Client(Stage* stage, int port, unsigned seed) : stage_(*stage), client_(port, {}), random_(seed)
    {
        random_.discard(10);
    }

    void addAndContend()
    {
        for (;;) {
            const Place& place = stage_.counters[upTo(static_cast<unsigned>(stage_.counters.size()))];
            if (!(upTo(3) == 0 ? contend(place) : add(place)))
                return;
        }
    }

    void putThoseToDelete()
    {
        for (;;) {
            const Place& place = stage_.deleted[upTo(static_cast<unsigned>(stage_.deleted.size()))];
            const int number = ++stage_.deletedVersion;
            if (!send("PutItem", place.table, {{"Item", itemAt(place, number)}}))
                return;
            stage_.shown.show(place, number, "a put");
        }
    }

    void deleteThem()
    {
        for (;;) {
            const Place& place = stage_.deleted[upTo(static_cast<unsigned>(stage_.deleted.size()))];
            if (!send("DeleteItem", place.table, {{"Key", key(place)}, {"ReturnValues", "ALL_OLD"}}))
                return;
            if (const int old = versionOf(reply_.value("Attributes").toMap()); old != 0)
                stage_.shown.show(place, old + 1, "a deletion"); // it is gone
        }
    }

    void writeBatches()
    {
        for (;;) {
            const int number = ++stage_.batchVersion;
            const unsigned spelling = upTo(100);
            QVariantMap tables;
            for (const Place& place : stage_.batch) {
                QVariantList entries = tables.value(stage_.name(place.table, spelling)).toList();
                entries.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", itemAt(place, number)}}}});
                tables.insert(stage_.name(place.table, spelling), entries);
            }
            if (!send("BatchWriteItem", {{"RequestItems", tables}}))
                return;
            for (const Place& place : stage_.batch)
                stage_.shown.show(place, number, "a batch");
        }
    }

    void addToList()
    {
        for (;;) {
            const QString range = QStringLiteral("%1").arg(++stage_.listed, 8, 10, QChar('0'));
            const QVariantMap item{{"h", textValue(stage_.list)}, {"r", textValue(range)}};
            // What is not acknowledged may be missing, and its number with it.
            if (!send("PutItem", "t0", {{"Item", item}}))
                return;
        }
    }

    void read()
    {
        for (;;) {
            bool done = false;
            switch (upTo(8)) {
            case 0:
                done = queryCounters();
                break;
            case 1:
                done = countList();
                break;
            case 2:
                done = scan();
                break;
            case 3:
                done = get(stage_.batch);
                break;
            case 4:
                done = get(stage_.deleted);
                break;
            default:
                done = get(stage_.counters);
                break;
            }
            if (!done)
                return;
        }
    }

private:
    unsigned upTo(unsigned limit) { return static_cast<unsigned>(random_() >> 4) % limit; }

    static QVariantMap key(const Place& place) { return itemKey(place.hash, place.range); }

    /** False when no reply came. It is in reply_ otherwise, and a success, or a refused condition. */
    bool send(const QByteArray& operation, const QVariantMap& body)
    {
        const auto reply = client_.request(operation, body);
        reply_ = reply.value_or(QVariantMap());
        refused_ = reply_.value("__type") == QVariant("ConditionalCheckFailedException");
        if (reply && !refused_) {
            EXPECT_EQ(reply_.value("__rc"), QVariant(200LL)) << Json::serialize(reply_).toStdString();
        }
        return reply.has_value();
    }
    bool send(const QByteArray& operation, const QString& table, QVariantMap body)
    {
        body.insert("TableName", stage_.name(table, upTo(100)));
        return send(operation, body);
    }

    bool get(const std::vector<Place>& places)
    {
        const Place& place = places[upTo(static_cast<unsigned>(places.size()))];
        if (!send("GetItem", place.table, {{"Key", key(place)}}))
            return false;
        stage_.shown.show(place, versionOf(reply_.value("Item").toMap()), "a get");
        return true;
    }

    bool add(const Place& place)
    {
        static constexpr std::array Returned{"ALL_NEW", "UPDATED_NEW", "ALL_OLD", "NONE"};
        const char* const values = Returned[upTo(Returned.size())];
        const QVariantMap one{{"Action", "ADD"}, {"Value", numberValue("1")}};
        if (!send("UpdateItem", place.table,
                  {{"Key", key(place)}, {"AttributeUpdates", QVariantMap{{"version", one}}}, {"ReturnValues", values}}))
            return false;
        const int number = versionOf(reply_.value("Attributes").toMap());
        stage_.shown.show(place, values == Returned[2] ? number + 1 : number, "an update");
        return true;
    }

    /** Replaces the version that it has read, unless others were faster, which a refusal shows as well. */
    bool contend(const Place& place)
    {
        if (!send("GetItem", place.table, {{"Key", key(place)}}))
            return false;
        const int found = versionOf(reply_.value("Item").toMap());
        stage_.shown.show(place, found, "a get");
        if (found == 0)
            return true;
        if (!send("PutItem", place.table,
                  {{"Item", itemAt(place, found + 1)},
                   {"Expected", QVariantMap{{"version", QVariantMap{{"Value", version(found).value("version")}}}}}}))
            return false;
        stage_.shown.show(place, found + 1, refused_ ? "a refused condition" : "a conditional put");
        return true;
    }

    void showAll(const QString& table, const char* how)
    {
        for (const QVariant& entry : reply_.value("Items").toList()) {
            const QVariantMap item = entry.toMap();
            const Place place{table, item.value("h").toMap().value("S").toString(),
                              item.value("r").toMap().value("S").toString()};
            if (versionOf(item) != 0)
                stage_.shown.show(place, versionOf(item), how);
        }
    }

    bool queryCounters()
    {
        if (!send("Query", "t0", {{"HashKeyValue", textValue("counters")}, {"Limit", 1000}}))
            return false;
        showAll("t0", "a query");
        return true;
    }

    bool countList()
    {
        if (!send("Query", "t0", {{"HashKeyValue", textValue(stage_.list)}, {"Count", true}, {"Limit", 1'000'000}}))
            return false;
        stage_.shown.show(stage_.listLength, reply_.value("Count").toInt(), "a count");
        return true;
    }

    bool scan()
    {
        if (!send("Scan", "t1", {{"Limit", 2}, {"ExclusiveStartKey", itemKey("counters", "0")}}))
            return false;
        showAll("t1", "a scan");
        return true;
    }

    Stage& stage_;
    CrashClient client_;
    std::minstd_rand random_;
    QVariantMap reply_; // the latest
    bool refused_ = false;
};

class ShownValues : public testing::TestWithParam<CrashMode> {
protected:
    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
        std::cout << "seed " << seed_ << std::endl;
        RecordProperty("seed", std::to_string(seed_));
    }

    /** Clients that read and write until the server is killed. */
    void runUntilKilled(CrashBench* bench, Stage* stage, unsigned seed)
    {
        using Work = void (Client::*)();
        std::vector<Work> works{&Client::putThoseToDelete, &Client::deleteThem, &Client::writeBatches,
                                &Client::addToList};
        works.insert(works.end(), 3, &Client::addAndContend);
        works.insert(works.end(), 5, &Client::read);
        const long long before = stage->shown.count();
        std::vector<std::thread> threads;
        for (const Work work : works) {
            threads.emplace_back([=, port = bench->server().port(), mine = ++seed] {
                Client client(stage, port, mine);
                (client.*work)();
            });
        }
        EXPECT_TRUE(waitUntil([&] { return stage->shown.count() >= before + 30; }));
        bench->pause(5ms, 200ms);
        bench->server().kill();
        bench->waitForKill();
        for (std::thread& thread : threads)
            thread.join();
    }

    void expectAllShownIsThere(CrashBench* bench, Stage* stage)
    {
        CrashClient client = bench->client();
        const auto expectAtLeast = [&](const Place& place, int found) {
            EXPECT_GE(found, stage->shown.least(place))
                << place.table.toStdString() << '/' << place.hash.toStdString() << '/' << place.range.toStdString()
                << ": the power failure took what " << stage->shown.how(place) << " had shown";
        };
        std::set<int> batchVersions;
        for (const auto* places : {&stage->counters, &stage->batch, &stage->deleted}) {
            for (const Place& place : *places) {
                const auto item = client.item({place.table, place.hash, place.range});
                ASSERT_TRUE(item);
                if (places != &stage->deleted || !item->isEmpty())
                    expectAtLeast(place, versionOf(*item));
                if (places == &stage->batch)
                    batchVersions.insert(versionOf(*item));
            }
        }
        EXPECT_EQ(batchVersions.size(), 1U) << "a part of a batch";
        const auto reply = client.request("Query", {{"TableName", client.tableName("t0")},
                                                    {"HashKeyValue", textValue(stage->list)},
                                                    {"Count", true},
                                                    {"Limit", 1'000'000}});
        ASSERT_TRUE(reply);
        expectAtLeast(stage->listLength, reply->value("Count").toInt());
    }

    const unsigned seed_ = crashSeed();
};

TEST_P(ShownValues, AreThereAfterALossOfPower)
{
    constexpr int RoundsEach = 3;
    CrashBench bench(GetParam(), seed_, {}, {{"CRASH_SLOW_LOG", "10000"}});
    const std::string link = bench.home() + ".link";
    std::filesystem::create_directory_symlink(bench.home(), link);
    ASSERT_TRUE(bench.start());
    bench.createTables();
    Stage stage(bench, link);
    for (int round = 0; round < RoundsEach * crashRounds(); ++round) {
        runUntilKilled(&bench, &stage, seed_ + static_cast<unsigned>(round) * 100);
        bench.loss().loseAll();
        ASSERT_TRUE(bench.start());
        expectAllShownIsThere(&bench, &stage);
        ASSERT_FALSE(HasFailure()) << "seed " << seed_ << ", round " << round;
    }
    std::cout << stage.shown.count() << " versions shown" << std::endl;
}

INSTANTIATE_TEST_SUITE_P(Modes, ShownValues,
                         testing::Values(CrashMode{"PowerLoss", true, false},
                                         CrashMode{"PowerLossWithDataSync", true, true}),
                         [](const auto& mode) { return mode.param.name; });

} // namespace
