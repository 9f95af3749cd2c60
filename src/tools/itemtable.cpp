#include "tools/itemtable.h"

#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/terminaltext.h"
#include "tools/textcolumns.h"
#include "tools/typedvalues.h"
#include "json/jsonwriter.h"

#include <algorithm>
#include <set>
#include <utility>

namespace Ctl {

namespace {

QString textOfElement(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("\"\"") : TerminalText::escaped(text);
}

/** A value as the table shows it: without its type, unless that is none of the usual ones. */
QString textOfValue(const QVariant& value)
{
    const QVariantMap typed = value.toMap();
    if (!checkValue(value).empty())
        return TerminalText::escaped(QString::fromUtf8(Json::serialize(value)));
    if (!isSetType(typed.firstKey()))
        return textOfElement(typed.first().toString());
    QStringList elements;
    for (const QVariant& element : typed.first().toList())
        elements.append(textOfElement(element.toString()));
    return '{' + elements.join(QStringLiteral(", ")) + '}';
}

std::string cellOf(const QString& text)
{
    return TerminalText::cut(text, ItemTable::MostColumns).toStdString();
}

/** The attribute's column: numbers are right-aligned. */
TextColumns::Column columnOf(const QString& name, const std::vector<QVariantMap>& items)
{
    const bool isNumeric = std::all_of(items.begin(), items.end(), [&](const QVariantMap& item) {
        return !item.contains(name) || item.value(name).toMap().contains(QStringLiteral("N"));
    });
    return {cellOf(TerminalText::escaped(name)), isNumeric ? TextColumns::Align::Right : TextColumns::Align::Left};
}

/** The attributes that occur, in the order of the columns. */
QStringList namesOf(const std::vector<QVariantMap>& items, const QStringList& first)
{
    std::set<QString> all;
    for (const QVariantMap& item : items) {
        for (auto attribute = item.begin(); attribute != item.end(); ++attribute)
            all.insert(attribute.key());
    }
    QStringList names;
    for (const QString& name : first) {
        if (all.erase(name) != 0)
            names.append(name);
    }
    names.append(QStringList(all.begin(), all.end()));
    return names;
}

} // namespace

int ItemTable::print(const QVariantMap& item)
{
    items_.push_back(item);
    return items_.size() < MostRows ? int{ExitOk} : end();
}

int ItemTable::end()
{
    if (items_.empty())
        return ExitOk;
    const QByteArray text = (printed_ ? "\n" : "") + textOf(items_, first_);
    printed_ = true;
    items_.clear();
    return printText(text);
}

QByteArray ItemTable::textOf(const std::vector<QVariantMap>& items, const QStringList& first)
{
    const QStringList names = namesOf(items, first);
    std::vector<TextColumns::Column> columns;
    for (const QString& name : names)
        columns.push_back(columnOf(name, items));
    TextColumns table(std::move(columns), TextColumns::Rule::Yes);
    for (const QVariantMap& item : items) {
        std::vector<std::string> cells;
        for (const QString& name : names)
            cells.push_back(item.contains(name) ? cellOf(textOfValue(item.value(name))) : std::string());
        table.add(std::move(cells));
    }
    QByteArray text;
    for (const std::string& line : table.lines())
        text += QByteArray::fromStdString(line) + '\n';
    return text;
}

} // namespace Ctl
