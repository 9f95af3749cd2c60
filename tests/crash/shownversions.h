#ifndef QUORVA_TESTS_CRASH_SHOWNVERSIONS_H
#define QUORVA_TESTS_CRASH_SHOWNVERSIONS_H

#include "support/tablefixture.h"

#include <QString>
#include <QVariantMap>

#include <map>
#include <mutex>
#include <tuple>

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

inline int versionOf(const QVariantMap& item)
{
    return item.value("version").toMap().value("N").toString().toInt();
}

inline QVariantMap version(int number)
{
    return {{"version", numberValue(QString::number(number))}};
}

inline QVariantMap itemAt(const Place& place, int number)
{
    return merged(version(number), {{"h", textValue(place.hash)}, {"r", textValue(place.range)}});
}

/** The lowest version that each item must have, according to the replies. */
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
    /** The reply that showed the lowest version. */
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

#endif
