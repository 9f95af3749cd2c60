#include "tools/csvcolumns.h"

#include "tools/messages.h"
#include "tools/typedvalues.h"
#include "json/jsonwriter.h"

#include <QStringList>

#include <algorithm>

namespace Ctl {

namespace {

/** The part before the last separator, if a type follows that; otherwise the whole text. */
QString splitType(const QString& text, QChar separator, QString* type)
{
    const qsizetype at = text.lastIndexOf(separator);
    if (at < 0 || !isType(text.mid(at + 1)))
        return text;
    *type = text.mid(at + 1);
    return text.left(at);
}

} // namespace

std::string CsvColumns::readHeader(const std::vector<CsvParser::Field>& cells, const KeyNames& keys)
{
    columns_.clear();
    for (const CsvParser::Field& cell : cells) {
        if (!cell.text.isValidUtf8())
            return "the header line is not UTF-8";
        columns_.push_back({QString::fromUtf8(cell.text), {}, false});
    }
    if (auto error = applyTypes(); !error.empty())
        return error;
    QStringList names;
    for (Column& column : columns_) {
        if (column.type.isEmpty()) {
            column.type = QStringLiteral("S");
            column.name = splitType(column.name, u':', &column.type);
        }
        if (column.name.isEmpty())
            return "column " + std::to_string(names.size() + 1) + " of the header line has no name";
        if (names.contains(column.name))
            return "the header line has two columns " + quoted(column.name);
        names.append(column.name);
        column.isKey = keys.contains(column.name);
    }
    for (const auto& [name, which] : {std::pair(keys.hash, "hash"), std::pair(keys.range, "range")}) {
        if (!names.contains(name))
            return "the header line has no column " + quoted(name) + ", the " + which + " key";
    }
    return {};
}

std::string CsvColumns::applyTypes()
{
    for (const std::string& word : types_) {
        QString type;
        const QString name = splitType(QString::fromStdString(word), u'=', &type);
        // cppcheck-suppress knownConditionTrueFalse ; splitType() has set it
        if (type.isEmpty())
            return "--types: " + quoted(name) + " is not NAME=TYPE, with one of the types S, N, B, SS, NS and BS";
        const auto column =
            std::find_if(columns_.begin(), columns_.end(), [&](const Column& one) { return one.name == name; });
        if (column == columns_.end())
            return "--types: the header line has no column " + quoted(name);
        column->type = type;
    }
    return {};
}

std::string CsvColumns::toItem(const std::vector<CsvParser::Field>& cells, QByteArray* item) const
{
    if (cells.size() != columns_.size())
        return "there are " + counted(static_cast<long long>(cells.size()), "field") + ", and the header line has " +
               std::to_string(columns_.size());
    QVariantMap attributes;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const Column& column = columns_[i];
        if (cells[i].text.isEmpty() && !cells[i].isQuoted && !column.isKey)
            continue;
        if (!cells[i].text.isValidUtf8())
            return "attribute " + quoted(column.name) + ": not UTF-8";
        const QString text = QString::fromUtf8(cells[i].text);
        QVariant content = text;
        if (isSetType(column.type))
            content = text.isEmpty() ? QVariantList() : QVariant(text.split(u',')).toList();
        const QVariantMap value{{column.type, content}};
        if (auto error = checkValue(value); !error.empty())
            return "attribute " + quoted(column.name) + ": " + error;
        attributes.insert(column.name, value);
    }
    *item = Json::serialize(attributes);
    return {};
}

} // namespace Ctl
