#ifndef QUORVA_TESTS_TOOLS_QUERYCOMMANDFIXTURE_H
#define QUORVA_TESTS_TOOLS_QUERYCOMMANDFIXTURE_H

#include "readcommandfixture.h"

#include <algorithm>

class QueryCommand : public ReadCommandTest {
protected:
    // Latin-1 letters outside ASCII; the second one is the largest byte.
    static inline const QString EAcute = QChar(0xe9);
    static inline const QString YDiaeresis = QChar(0xff);
    static inline const std::vector<std::string> Limits{"1", "2", "3", "128"};

    void SetUp() override
    {
        ReadCommandTest::SetUp();
        for (const QString& range : Ranges)
            put("k", range, {{"a", textValue('a' + range)}, {"b", textValue("b")}, {"c", numberValue("7")}});
        put("j", "ab", {{"a", textValue("of another hash key")}});
        put("l", "ab", {{"a", textValue("of another hash key")}});
    }

    /** In byte order. */
    const QStringList Ranges{"",
                             "%%",
                             "-5",
                             "A",
                             "a",
                             "a a",
                             "ab",
                             "abc",
                             "b",
                             "ba",
                             EAcute,
                             YDiaeresis,
                             YDiaeresis + "a",
                             YDiaeresis + YDiaeresis};

    static QStringList downwards(QStringList list)
    {
        std::reverse(list.begin(), list.end());
        return list;
    }

    QStringList rangesWhere(const std::function<bool(const QByteArray&)>& wanted) const
    {
        QStringList list;
        for (const QString& range : Ranges) {
            if (wanted(range.toLatin1()))
                list.append(range);
        }
        return list;
    }

    /** Expects what `query TABLE k ARGUMENTS` prints to be independent of the page size. */
    void expectRanges(const std::vector<std::string>& arguments, const QStringList& expected) const
    {
        for (const std::string& limit : Limits) {
            std::vector<std::string> words{"query", tableName().toStdString(), "k", "--limit", limit};
            words.insert(words.end(), arguments.begin(), arguments.end());
            EXPECT_EQ(keysIn(quorvactl(words), "r"), expected) << testing::PrintToString(words);
        }
    }

    ProgramRun query(std::vector<std::string> arguments, const ProgramFiles& files = {}) const
    {
        arguments.insert(arguments.begin(), {"query", tableName().toStdString()});
        return quorvactl(arguments, files);
    }
};

#endif
