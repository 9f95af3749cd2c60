#include "tools/dynamodblines.h"

#include <QByteArrayView>

namespace Ctl {

namespace {

/** Removes a token from the beginning of a text, with the white space around it. Returns false if it is not there. */
bool takeToken(QByteArrayView* text, QByteArrayView token)
{
    *text = text->trimmed();
    if (!text->startsWith(token))
        return false;
    *text = text->sliced(token.size()).trimmed();
    return true;
}

/** The text of the item on a line, which is not checked any further; empty if there is none. */
QByteArrayView itemOn(QByteArrayView line)
{
    if (!takeToken(&line, "{") || !takeToken(&line, "\"Item\"") || !takeToken(&line, ":") || !line.endsWith('}'))
        return {};
    const QByteArrayView item = line.chopped(1).trimmed();
    return item.startsWith('{') && item.endsWith('}') ? item : QByteArrayView();
}

} // namespace

QByteArray DynamodbLines::lineOf(const QByteArray& item)
{
    return R"({"Item":)" + item + '}';
}

ImportSource::Result DynamodbLines::next(QByteArray* item)
{
    QByteArray line;
    const Result result = readLine(&line);
    if (result != Result::Item)
        return result;
    if (line.trimmed().isEmpty())
        return Result::Empty;
    *item = itemOn(line).toByteArray();
    return item->isEmpty() ? refuse(R"(the line is not of the form {"Item": {...}})") : Result::Item;
}

} // namespace Ctl
