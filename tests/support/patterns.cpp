#include "support/patterns.h"

#include <QByteArray>
#include <QRegularExpression>
#include <QString>

namespace Patterns {

namespace {

/** The text's bytes as characters, so that what is no UTF-8 can be searched as well. */
QString charactersOf(const std::string& bytes)
{
    return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

QRegularExpression compiled(const std::string& pattern)
{
    return QRegularExpression(charactersOf(pattern));
}

} // namespace

std::vector<std::string> groupsOf(const std::string& text, const std::string& pattern)
{
    const QRegularExpression whole(QRegularExpression::anchoredPattern(charactersOf(pattern)));
    std::vector<std::string> groups;
    const QRegularExpressionMatch match = whole.match(charactersOf(text));
    for (int group = 0; match.hasMatch() && group <= whole.captureCount(); ++group)
        groups.push_back(match.captured(group).toLatin1().toStdString());
    return groups;
}

bool matches(const std::string& text, const std::string& pattern)
{
    return !groupsOf(text, pattern).empty();
}

int countIn(const std::string& text, const std::string& pattern)
{
    return static_cast<int>(charactersOf(text).count(compiled(pattern)));
}

std::string without(const std::string& text, const std::string& pattern)
{
    return charactersOf(text).remove(compiled(pattern)).toLatin1().toStdString();
}

} // namespace Patterns
