#ifndef QUORVA_TOOLS_TOPVIEW_H
#define QUORVA_TOOLS_TOPVIEW_H

#include "client/serverstatus.h"
#include "tools/statuschange.h"
#include "tools/textcolumns.h"

#include <string>
#include <vector>

namespace Ctl {

/** What `top` shows: what a server is doing, as lines of text. */
class TopView {
public:
    /** The order of the operations; those with equal values are in the order of their names. */
    enum class Order { Rate, Failed, Median, Percentile, Slowest, Name };

    void setOrder(Order order) { order_ = order; }

    /** The server at this address, and what it has done between two of its statuses; see StatusChange. Tables omit
     * columns for which `width` has no room. */
    std::vector<std::string> lines(const std::string& address, const Client::ServerStatus& now,
                                   const StatusChange& change, int width = TextColumns::AnyWidth) const;

private:
    std::vector<std::string> operationLines(const StatusChange& change, int width) const;

    Order order_ = Order::Rate;
};

} // namespace Ctl

#endif
