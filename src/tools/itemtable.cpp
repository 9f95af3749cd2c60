#include "tools/itemtable.h"

#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/terminaltext.h"
#include "tools/typedvalues.h"
#include "json/jsonwriter.h"

#include <algorithm>
#include <set>

namespace Ctl {

namespace {

QString textOfElement(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("\"\"") : TerminalText::escaped(text);
}

/** A value as the table shows it: without its type, except for one that has none of the usual ones. */
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

/** One attribute of all items. */
class Column {
public:
    Column(const QString& name, const std::vector<QVariantMap>& items)
    {
        add(TerminalText::escaped(name));
        for (const QVariantMap& item : items) {
            const QVariant value = item.value(name);
            isNumeric_ = isNumeric_ && (!value.isValid() || value.toMap().contains(QStringLiteral("N")));
            add(value.isValid() ? textOfValue(value) : QString());
        }
    }

    /** Row 0 is the name. */
    QString cell(std::size_t row) const { return padded(cells_[row]); }
    QString line() const { return QString(width_, u'-'); }

private:
    void add(const QString& text)
    {
        cells_.push_back(TerminalText::cut(text, ItemTable::MostColumns));
        width_ = std::max(width_, TerminalText::width(cells_.back()));
    }

    QString padded(const QString& text) const
    {
        const QString blanks(width_ - TerminalText::width(text), u' ');
        return isNumeric_ ? blanks + text : text + blanks;
    }

    std::vector<QString> cells_;
    int width_ = 0;
    bool isNumeric_ = true;
};

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

void endLine(QString* text)
{
    while (text->endsWith(u' '))
        text->chop(1);
    *text += u'\n';
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
    std::vector<Column> columns;
    for (const QString& name : namesOf(items, first))
        columns.emplace_back(name, items);
    const auto join = [&](auto&& part) {
        QStringList parts;
        for (const Column& column : columns)
            parts.append(part(column));
        QString line = parts.join(QStringLiteral("  "));
        endLine(&line);
        return line;
    };
    QString text = join([](const Column& column) { return column.cell(0); });
    text += join([](const Column& column) { return column.line(); });
    for (std::size_t row = 1; row <= items.size(); ++row)
        text += join([row](const Column& column) { return column.cell(row); });
    return text.toUtf8();
}

} // namespace Ctl
