#ifndef QUORVA_TOOLS_CSVCOLUMNS_H
#define QUORVA_TOOLS_CSVCOLUMNS_H

#include "protocol/keynames.h"
#include "tools/csvparser.h"

#include <QByteArray>
#include <QString>

#include <string>
#include <vector>

namespace Ctl {

/**
 * What the columns of comma-separated values mean: the attribute of each, and its type. A cell of the header line is
 * NAME, for strings, or NAME:TYPE; a type that was given for the text of a cell takes precedence, and then that text is
 * the name. Functions return an empty string or an error message.
 */
class CsvColumns {
public:
    /** `types` are words of the form NAME=TYPE. */
    explicit CsvColumns(std::vector<std::string> types) : types_(std::move(types)) {}

    /** Reads the header line of items with these keys. */
    [[nodiscard]] std::string readHeader(const std::vector<CsvParser::Field>& cells, const KeyNames& keys);

    /**
     * The JSON of the item in a record. An empty cell means that there is no attribute, except for a key; "" is the
     * empty string. The elements of a set are separated by commas.
     */
    [[nodiscard]] std::string toItem(const std::vector<CsvParser::Field>& cells, QByteArray* item) const;

private:
    struct Column {
        QString name;
        QString type;
        bool isKey = false;
    };

    std::string applyTypes();

    const std::vector<std::string> types_;
    std::vector<Column> columns_;
};

} // namespace Ctl

#endif
