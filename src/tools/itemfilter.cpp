#include "tools/itemfilter.h"

#include "tools/decimal.h"
#include "tools/notation.h"
#include "tools/typedvalues.h"

#include <QByteArray>

#include <algorithm>

namespace Ctl {

namespace {

/** The bytes by which strings and binary values are compared. */
QByteArray bytesOf(const QString& type, const QVariant& value)
{
    const QByteArray text = value.toString().toUtf8();
    return type.startsWith(u'B') ? QByteArray::fromBase64(text) : text;
}

int compareScalars(const QString& type, const QVariant& a, const QVariant& b)
{
    if (type.startsWith(u'N'))
        return Decimals::compare(a.toString(), b.toString());
    return bytesOf(type, a).compare(bytesOf(type, b));
}

bool hasElement(const QString& type, const QVariant& set, const QVariant& element)
{
    const QVariantList elements = set.toList();
    return std::any_of(elements.begin(), elements.end(),
                       [&](const QVariant& one) { return compareScalars(type, one, element) == 0; });
}

bool areEqual(const QString& type, const QVariant& a, const QVariant& b)
{
    if (!isSetType(type))
        return compareScalars(type, a, b) == 0;
    const QVariantList left = a.toList();
    const QVariantList right = b.toList();
    const auto isIn = [&](const QVariant& set) {
        return [&](const QVariant& element) { return hasElement(type, set, element); };
    };
    return std::all_of(left.begin(), left.end(), isIn(b)) && std::all_of(right.begin(), right.end(), isIn(a));
}

} // namespace

std::string ItemFilter::parse(const std::vector<std::string>& words)
{
    for (const std::string& word : words) {
        QString text;
        if (auto error = decodeWord(word, "--filter", &text); !error.empty())
            return error;
        if (auto error = parseWord(text); !error.empty())
            return "--filter: " + error;
    }
    return {};
}

std::string ItemFilter::parseWord(const QString& word)
{
    if (word.startsWith(u'{')) {
        QVariantMap equal;
        if (auto error = parseAttributes({word.toStdString()}, &equal); !error.empty())
            return error;
        for (auto attribute = equal.begin(); attribute != equal.end(); ++attribute) {
            const QVariantMap value = attribute->toMap();
            conditions_.push_back({attribute.key(), Test::Equal, value.firstKey(), value.first()});
        }
        return {};
    }
    // The longer ones first: "<=" begins with "<".
    static constexpr std::pair<QStringView, Test> tests[] = {
        {u"!=", Test::NotEqual}, {u"<=", Test::AtMost}, {u">=", Test::AtLeast}, {u"^=", Test::BeginsWith},
        {u"*=", Test::Contains}, {u"=", Test::Equal},   {u"<", Test::Less},     {u">", Test::Greater}};
    for (qsizetype at = 1; at < word.size(); ++at) {
        const auto* found = std::find_if(std::begin(tests), std::end(tests), [&](const auto& test) {
            return QStringView(word).mid(at).startsWith(test.first);
        });
        if (found == std::end(tests))
            continue;
        QVariantMap value;
        const QString name = word.left(at);
        if (auto error = parseValue(word.mid(at + found->first.size()), &value); !error.empty())
            return "attribute " + quoted(name) + ": " + error;
        const Condition condition{name, found->second, value.firstKey(), value.first()};
        conditions_.push_back(condition);
        return check(condition);
    }
    const bool isAbsent = word.startsWith(u'!');
    const QString name = word.mid(isAbsent ? 1 : 0);
    if (name.isEmpty())
        return quoted(word) + " is not a condition; write NAME=VALUE, such as total=N:17, or NAME or !NAME";
    conditions_.push_back({name, isAbsent ? Test::Absent : Test::Present, {}, {}});
    return {};
}

std::string ItemFilter::check(const Condition& condition)
{
    const std::string what = " with a value of type " + condition.type.toStdString();
    switch (condition.test) {
    case Test::Less:
    case Test::AtMost:
    case Test::Greater:
    case Test::AtLeast:
        return isSetType(condition.type) ? "<, <=, > and >= do not work" + what : std::string();
    case Test::BeginsWith:
        return condition.type == u"S" || condition.type == u"B" ? std::string() : "^= does not work" + what;
    case Test::Contains:
        return isSetType(condition.type) ? "*= does not work" + what : std::string();
    default:
        return {};
    }
}

bool ItemFilter::matches(const QVariantMap& item) const
{
    return std::all_of(conditions_.begin(), conditions_.end(), [&](const Condition& condition) {
        const auto attribute = item.constFind(condition.name);
        if (attribute == item.constEnd())
            return condition.test == Test::Absent;
        return holds(condition, *attribute);
    });
}

bool ItemFilter::holds(const Condition& condition, const QVariant& attribute)
{
    if (condition.test == Test::Present || condition.test == Test::Absent)
        return condition.test == Test::Present;
    if (!checkValue(attribute).empty()) // tables may contain anything
        return condition.test == Test::NotEqual;
    const QVariantMap typed = attribute.toMap();
    const QString& type = typed.firstKey();
    const QVariant& value = typed.first();
    if (condition.test == Test::Contains && type == condition.type + u'S')
        return hasElement(type, value, condition.value);
    if (type != condition.type)
        return condition.test == Test::NotEqual;
    switch (condition.test) {
    case Test::Equal:
        return areEqual(type, value, condition.value);
    case Test::NotEqual:
        return !areEqual(type, value, condition.value);
    case Test::Less:
        return compareScalars(type, value, condition.value) < 0;
    case Test::AtMost:
        return compareScalars(type, value, condition.value) <= 0;
    case Test::Greater:
        return compareScalars(type, value, condition.value) > 0;
    case Test::AtLeast:
        return compareScalars(type, value, condition.value) >= 0;
    case Test::BeginsWith:
        return bytesOf(type, value).startsWith(bytesOf(type, condition.value));
    default: // Contains, which is undefined for numbers
        return type != u"N" && bytesOf(type, value).contains(bytesOf(type, condition.value));
    }
}

QStringList ItemFilter::names() const
{
    QStringList names;
    for (const Condition& condition : conditions_) {
        if (!names.contains(condition.name))
            names.append(condition.name);
    }
    return names;
}

} // namespace Ctl
