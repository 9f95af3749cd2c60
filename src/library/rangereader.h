#ifndef QUORVA_LIBRARY_RANGEREADER_H
#define QUORVA_LIBRARY_RANGEREADER_H

#include "client/itemreader.h"
#include "quorva/result.h"

namespace Quorva {

class Connection;

/** What an ItemRange reads from: a query or scan on a connection, and the result of its latest request. Not installed.
 */
class RangeReader {
public:
    /** The connection is the caller's and outlives this. `body` is the whole request but "Limit". */
    RangeReader(Connection* connection, const Operations::Operation& operation, const QVariantMap& body, int limit);

    /** Goes to the first item, once. */
    void start();
    bool atEnd() const { return atEnd_; }
    /** Not at the end. */
    const Item& item() const { return reader_.item(); }
    void advance();

    /** The first page alone, in place of start(). */
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
