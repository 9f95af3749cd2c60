#ifndef QUORVA_TOOLS_CSVPARSER_H
#define QUORVA_TOOLS_CSVPARSER_H

#include <QByteArray>

#include <string>
#include <vector>

namespace Ctl {

/**
 * Splits a record of comma-separated values (RFC 4180): a quoted field may contain commas, line breaks and doubled
 * quotes; spaces are part of fields.
 */
class CsvParser {
public:
    struct Field {
        QByteArray text;
        bool isQuoted = false;
    };
    enum class Result { Complete, Incomplete, Bad };

    /**
     * Adds a line, without its line feed; a CR at its end is dropped. Incomplete: the record continues on the next
     * line.
     */
    [[nodiscard]] Result add(const QByteArray& line);
    /** Forgets the record; the next line begins another one. */
    void reset();

    /** The fields of a complete record. */
    const std::vector<Field>& fields() const { return fields_; }
    /** What is wrong with a bad one. */
    const std::string& error() const { return error_; }
    /** The length of all fields so far. */
    qsizetype size() const { return size_; }

private:
    enum class State { Begin, Plain, Quoted, AfterQuote };

    bool take(char character);
    void endField();

    std::vector<Field> fields_;
    Field field_;
    State state_ = State::Begin;
    std::string error_;
    qsizetype size_ = 0;
};

} // namespace Ctl

#endif
