#ifndef QUORVA_TOOLS_ITEMFILTER_H
#define QUORVA_TOOLS_ITEMFILTER_H

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <string>
#include <vector>

namespace Ctl {

/**
 * The conditions of --filter on the attributes of an item, all of which must hold. They are checked here and not by the
 * server, whose filters test keys only, and whose numbers are 64-bit integers; here they are exact.
 *
 *     NAME=VALUE NAME!=VALUE       the same value and type; or an attribute with another value or type
 *     NAME<VALUE <= > >=           S, N and B: strings and bytes in the order of their bytes
 *     NAME^=VALUE                  S and B: begins with
 *     NAME*=VALUE                  S and B: contains; sets: has this element
 *     NAME  !NAME                  there is such an attribute, or none
 *     {"NAME": VALUE, ...}         the same as =, for names with one of these characters
 *
 * Values are written as in notation.h. Without the attribute, only !NAME holds.
 */
class ItemFilter {
public:
    /** Returns an empty string or an error message. */
    [[nodiscard]] std::string parse(const std::vector<std::string>& words);

    bool isEmpty() const { return conditions_.empty(); }
    bool matches(const QVariantMap& item) const;
    /** The attributes that the conditions are about. */
    QStringList names() const;

private:
    enum class Test { Equal, NotEqual, Less, AtMost, Greater, AtLeast, BeginsWith, Contains, Present, Absent };

    struct Condition {
        QString name;
        Test test;
        QString type; // of the value; empty if there is none
        QVariant value;
    };

    std::string parseWord(const QString& word);
    static std::string check(const Condition& condition);
    static bool holds(const Condition& condition, const QVariant& attribute);

    std::vector<Condition> conditions_;
};

} // namespace Ctl

#endif
