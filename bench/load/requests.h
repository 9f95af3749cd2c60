#ifndef QUORVA_BENCH_LOAD_REQUESTS_H
#define QUORVA_BENCH_LOAD_REQUESTS_H

#include "common/workload.h"

#include "protocol/operations.h"

#include <QByteArray>
#include <QVariantMap>

#include <vector>

namespace Bench {

/** The target's interface: the wire protocol, or one of the two APIs over HTTP. */
enum class Interface { Wire, Http2011, Http2012 };

/** A request's bytes, complete except for the digits of the keys, which are written in place. For one thread. */
class PreparedRequest {
public:
    /** `body` contains the keys of the first items, as many as given, in order; the digits are replaced there. */
    PreparedRequest(const Operations::Operation& operation, const QVariantMap& body, unsigned items,
                    Interface interface = Interface::Wire);

    /** Makes it a request for `first` and the items that follow it. */
    void aim(unsigned first);

    /**
     * Makes it a request to echo-limit: with the same length, for a reply of `replyBytes` including its length prefix.
     */
    void askForEcho(unsigned replyBytes);

    const QByteArray& bytes() const { return bytes_; }

private:
    /** Where the keys of one item are; -1 if one is missing. */
    struct KeyPlaces {
        qsizetype hash = -1;
        qsizetype range = -1;
    };

    QByteArray bytes_;
    qsizetype bodyBegin_;
    std::vector<KeyPlaces> places_;
};

/** The requests of one operation on a table. For one thread. */
class RequestMaker {
public:
    RequestMaker(const QByteArray& tableName, Operation operation, const Workload& workload, std::uint64_t seed,
                 Interface interface = Interface::Wire);

    /** See PreparedRequest. */
    void askForEcho(unsigned replyBytes);

    /** The next request, on random items. Valid until the next call. */
    const QByteArray& next();

    /** A request of the operation on given items; for Mixed, the get. Valid until the next call. */
    const QByteArray& at(unsigned item);

private:
    const Operation operation_;
    const unsigned items_;
    Random random_;
    std::vector<PreparedRequest> requests_; // one, or two that are sent equally often
};

/** The body of a CreateTable request for the table. */
QVariantMap tableDescription(const QByteArray& tableName);

} // namespace Bench

#endif
