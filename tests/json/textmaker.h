#ifndef QUORVA_TESTS_JSON_TEXTMAKER_H
#define QUORVA_TESTS_JSON_TEXTMAKER_H

#include "json/jsonwriter.h"

#include <QByteArray>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <algorithm>
#include <iterator>
#include <random>

/** Texts near the writer's form: pieces of it in random order, and written trees with a few bytes changed. */
class TextMaker {
public:
    explicit TextMaker(unsigned seed) : random_(seed) {}

    QByteArray pieces()
    {
        static const QByteArray all[] = {
            "{",        "}",   "[",       "]",       "\"a\":",      "\"b\":",       "\"\":", ",",    "\"",    "\\",
            "\\u001F",  "\\n", "0",       "-1",      "12",          "1.5",          "true",  "null", "\"x\"", "\"\"",
            "\xc3\xa4", " ",   "{\"S\":", "\"SS\":", "\"\\u0000\"", "\xe2\x82\xac", "e"};
        QByteArray text = "{\"a\":";
        for (int count = below(8); count > 0; --count)
            text += all[static_cast<std::size_t>(below(std::size(all)))];
        return text + '}';
    }

    QByteArray mutated()
    {
        QByteArray text = Json::serialize(object(3));
        for (int changes = below(3); changes > 0; --changes) {
            const int at = below(static_cast<int>(text.size()));
            if (below(2) == 0)
                text[at] = static_cast<char>(below(256));
            else
                text.remove(at, 1);
        }
        return text;
    }

    /** The same text with blanks around its values and names. */
    QByteArray loosened(const QByteArray& text)
    {
        static const char blanks[] = {' ', '\n', '\t', '\r'};
        QByteArray loose;
        bool inString = false;
        for (qsizetype i = 0; i < text.size(); ++i) {
            const bool isEscaped = inString && text[i] == '\\' && i + 1 < text.size();
            if (text[i] == '"')
                inString = !inString;
            const bool isToken = !inString && QByteArrayView("{}[],:").contains(text[i]);
            for (int count = isToken ? below(3) : 0; count > 0; --count)
                loose += blanks[below(std::size(blanks))];
            loose += text[i];
            if (isEscaped)
                loose += text[++i];
            for (int count = isToken ? below(3) : 0; count > 0; --count)
                loose += blanks[below(std::size(blanks))];
        }
        return loose;
    }

private:
    int below(std::size_t limit) { return static_cast<int>(random_() % std::max<std::size_t>(limit, 1)); }
    int below(int limit) { return below(static_cast<std::size_t>(limit)); }

    QString string()
    {
        static const char16_t alphabet[] = u"ab\"\\/\n\t\u0001\u001f\u007f\u00e4\u20ac\U0001f600";
        QString text;
        for (int count = below(20); count > 0; --count)
            text.append(QChar(alphabet[below(std::size(alphabet) - 1)]));
        return text;
    }

    QVariant value(int depth)
    {
        switch (below(depth > 0 ? 7 : 5)) {
        case 0:
            return below(1000) - 500;
        case 1:
            return below(2) == 0;
        case 2:
            return QVariant();
        case 3:
            return below(1000) / 8.0;
        case 4:
            return string();
        case 5:
            return object(depth - 1);
        default:
            QVariantList list;
            for (int count = below(4); count > 0; --count)
                list.append(value(depth - 1));
            return list;
        }
    }

    QVariantMap object(int depth)
    {
        QVariantMap map;
        for (int count = below(4); count > 0; --count)
            map.insert(below(3) == 0 ? string() : QString(QChar(u'a' + below(26))), value(depth));
        return map;
    }

    std::mt19937 random_;
};

#endif
