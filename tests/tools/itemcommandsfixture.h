#ifndef QUORVA_TESTS_TOOLS_ITEMCOMMANDSFIXTURE_H
#define QUORVA_TESTS_TOOLS_ITEMCOMMANDSFIXTURE_H

#include "toolfixture.h"

class ItemCommands : public ToolTest {
protected:
    static inline const std::string ConditionAdvice = "quorvactl get; the stored item does not meet the conditions";

    /** The stored item, as the server returns it. */
    QVariantMap stored(const QString& hash, const QString& range) { return get(hash, range).value("Item").toMap(); }
    bool isThere(const QString& hash, const QString& range) { return get(hash, range).contains("Item"); }

    std::string item(const char* hash = "k", const char* range = "r") const
    {
        return std::string("the item \"") + hash + "\" \"" + range + "\" of " + table();
    }

    std::string conditionFailed(const std::string& failed) const
    {
        return Complaints::errorReply(failed, Complaints::ConditionFailed, ConditionAdvice);
    }
};

#endif
