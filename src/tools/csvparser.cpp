#include "tools/csvparser.h"

#include <utility>

namespace Ctl {

CsvParser::Result CsvParser::add(const QByteArray& line)
{
    const qsizetype end = line.size() - (line.endsWith('\r') ? 1 : 0);
    for (qsizetype i = 0; i < end; ++i) {
        if (!take(line[i]))
            return Result::Bad;
    }
    if (state_ == State::Quoted) {
        field_.text += end < line.size() ? "\r\n" : "\n";
        size_ += 2;
        return Result::Incomplete;
    }
    endField();
    return Result::Complete;
}

/** Returns false for a character that is not allowed there. */
bool CsvParser::take(char character)
{
    switch (state_) {
    case State::Begin:
    case State::Plain:
        if (character == ',') {
            endField();
            return true;
        }
        if (character == '"') {
            if (state_ == State::Plain) {
                error_ = "there is a quote in a field that does not begin with one";
                return false;
            }
            state_ = State::Quoted;
            field_.isQuoted = true;
            return true;
        }
        state_ = State::Plain;
        break;
    case State::Quoted:
        if (character == '"') {
            state_ = State::AfterQuote;
            return true;
        }
        break;
    case State::AfterQuote:
        if (character == ',') {
            endField();
            return true;
        }
        if (character != '"') {
            error_ = "there is text between a closing quote and the next comma";
            return false;
        }
        state_ = State::Quoted;
        break;
    }
    field_.text += character;
    ++size_;
    return true;
}

void CsvParser::reset()
{
    *this = CsvParser();
}

void CsvParser::endField()
{
    fields_.push_back(std::exchange(field_, {}));
    state_ = State::Begin;
}

} // namespace Ctl
