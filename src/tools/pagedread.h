#ifndef QUORVA_TOOLS_PAGEDREAD_H
#define QUORVA_TOOLS_PAGEDREAD_H

#include "protocol/limits.h"
#include "protocol/operations.h"
#include "tools/itemfilter.h"
#include "tools/itemprinter.h"
#include "tools/serveraddress.h"
#include "tools/session.h"

#include <QVariantMap>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Ctl {

/** The options common to scan and query. */
struct PageOptions {
    int limit = Limits::PageItems; // records the server examines for one page
    long long max = -1;            // items to print; below 0: all
    bool countOnly = false;        // print the number of items instead
    std::vector<std::string> attributes;
    std::vector<std::string> filters; // see ItemFilter
    ItemForm form;

    void declare(CLI::App* command);
};

/**
 * Reads all pages of a Scan or Query on one connection, and prints the items that pass the filter, or their count, or
 * passes their lines to a sink.
 */
class PagedRead {
public:
    /** `body` is the request without the members that the options set. */
    PagedRead(const PageOptions& options, const Operations::Operation& operation, QVariantMap body);

    /**
     * Receives an item and its line, without a line end. Any exit code but ExitOk ends the read and becomes its result.
     */
    using Sink = std::function<int(const QVariantMap& item, const QByteArray& line)>;
    /** Passes the lines to `sink` instead of printing them. */
    void sendTo(Sink sink) { sink_ = std::move(sink); }

    /** Returns an exit code of quorvactl. */
    int run(const ServerAddress& server);

private:
    int prepare(Session* session);
    int complainOf(Session& session, const QVariantMap& reply) const;
    int takeItem(QVariantMap item) const;
    int printEnd(long long found) const;
    std::string table() const { return body_.value("TableName").toString().toStdString(); }

    const PageOptions& options_;
    const Operations::Operation operation_;
    QVariantMap body_;
    Sink sink_;
    ItemFilter filter_;
    QStringList hidden_;                   // attributes that only the filter needs
    std::unique_ptr<ItemPrinter> printer_; // null: one line per item
};

} // namespace Ctl

#endif
