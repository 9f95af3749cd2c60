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
    /** Returns an exit code; errors have been reported. */
    [[nodiscard]] int decode();
};

/**
 * Begins a request on one item: decodes the key, reads the table's key attributes, and makes the body that names the
 * item. Returns an exit code; errors have been reported.
 */
[[nodiscard]] int beginItemRequest(const std::string& table, KeyArguments* key, Session* session, KeyNames* keys,
                                   QVariantMap* body);

/** The options --if and --if-absent: conditions on the stored item, all of which must hold. */
struct ConditionOptions {
    std::vector<std::string> equal;
    std::vector<std::string> absent;

    void declare(CLI::App* command);
    bool given() const { return !equal.empty() || !absent.empty(); }
    /**
     * Adds "Expected" to a request if there are conditions. Returns an exit code; errors have been reported. The server
     * does not see key attributes in a stored item, so conditions on those are refused.
     */
    [[nodiscard]] int addTo(QVariantMap* body, const KeyNames& keys) const;
};

/** The option --return of put and delete: whether to print the item as it was before. */
struct OldItemOption {
    std::string wanted = "none"; // or "old"

    void declare(CLI::App* command, const char* purpose);
    /** Requests the old item, or none. */
    void addTo(QVariantMap* body) const;
    /** Prints the old item of a success reply, with its keys, if it was requested and exists. Returns an exit code. */
    [[nodiscard]] int print(const QVariantMap& reply, const KeyNames& keys, const QString& hash,
                            const QString& range) const;
};

/** Reports the error reply to a write. */
void complainWrite(const std::string& failed, const QVariantMap& reply);

/** How messages name an item: "abc" "2012-01" of DIR|TABLE. */
std::string itemName(const std::string& table, const KeyArguments& key);

} // namespace Ctl

#endif
