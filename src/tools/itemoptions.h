#ifndef QUORVA_TOOLS_ITEMOPTIONS_H
#define QUORVA_TOOLS_ITEMOPTIONS_H

#include "tools/session.h"

#include <QString>
#include <QVariantMap>

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Ctl {

/** The arguments HASH and RANGE. */
struct KeyArguments {
    std::string hashWord;
    std::string rangeWord;
    QString hash; // both are set by decode()
    QString range;

    void declare(CLI::App* command);
    /** An exit code; what is wrong has been told. */
    [[nodiscard]] int decode();
};

/** The options --if and --if-absent: conditions on the stored item, all of which have to hold. */
struct ConditionOptions {
    std::vector<std::string> equal;
    std::vector<std::string> absent;

    void declare(CLI::App* command);
    bool given() const { return !equal.empty() || !absent.empty(); }
    /**
     * Adds "Expected" to a request, when there are conditions. An exit code; what is wrong has been told. The server
     * does not see key attributes in a stored item, so conditions on those are refused.
     */
    [[nodiscard]] int addTo(QVariantMap* body, const TableKeys& keys) const;
};

/** Tells of the error reply to a write. */
void complainWrite(const std::string& failed, const QVariantMap& reply);

/** An item in messages: "abc" "2012-01" of DIR|TABLE. */
std::string itemName(const std::string& table, const KeyArguments& key);

} // namespace Ctl

#endif
