#ifndef QUORVA_LIBRARY_RANGEREADER_H
#define QUORVA_LIBRARY_RANGEREADER_H

#include "client/itemreader.h"
#include "quorva/result.h"

namespace Quorva {

class Connection;

/** The source of an ItemRange: a query or scan on a connection, and the result of its latest request. Not installed. */
class RangeReader {
public:
    /** The caller owns the connection, which must outlive this object. `body` is the request without "Limit". */
    RangeReader(Connection* connection, const Operations::Operation& operation, const QVariantMap& body, int limit);

    /** Moves to the first item, once. */
    void start();
    bool atEnd() const { return atEnd_; }
    /** Must not be called at the end. */
    const Item& item() const { return reader_.item(); }
    void advance();

    /** Reads only the first page, instead of start(). */
    Result firstPage();

    const Result& result() const { return result_; }

private:
    Result result_;
    Client::ItemReader reader_;
    bool started_ = false;
    bool atEnd_ = false;
};

} // namespace Quorva

#endif
