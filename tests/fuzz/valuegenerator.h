#ifndef QUORVA_TESTS_FUZZ_VALUEGENERATOR_H
#define QUORVA_TESTS_FUZZ_VALUEGENERATOR_H

#include "choices.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <array>
#include <cstddef>
#include <string_view>

/** Makes texts and values out of choices, well-formed and not. */
class ValueGenerator {
public:
    explicit ValueGenerator(Choices* choices) : choices_(choices) {}

protected:
    QByteArray bytes(std::size_t longest)
    {
        const std::string_view piece = choices_->piece(longest);
        return {piece.data(), static_cast<qsizetype>(piece.size())};
    }

    QString text()
    {
        static constexpr std::array fixed{"",
                                          "a",
                                          "b",
                                          "h",
                                          "r",
                                          "S",
                                          "N",
                                          "0",
                                          "-1",
                                          "9223372036854775807",
                                          "1e3",
                                          "version",
                                          "tableschema",
                                          "größer",
                                          "\x01",
                                          "\"\\/\b\f\n\r\t"};
        switch (choices_->upTo(8)) {
        case 0:
            return QString::fromUtf8(bytes(40));
        case 1:
            return QString::fromLatin1(bytes(40));
        case 2: { // any code units, halves of surrogate pairs among them
            const QByteArray units = bytes(40);
            return QString(reinterpret_cast<const QChar*>(units.constData()), units.size() / 2);
        }
        case 3:
            return QString(static_cast<qsizetype>(choices_->upTo(3000)), QChar('x'));
        default:
            return QString::fromUtf8(choices_->of(fixed));
        }
    }

    QString keyText()
    {
        static constexpr std::array fixed{"", "a", "b", "ab", "abc", "0", "10", "\xc3\xbf"};
        return choices_->oneIn(8) ? text() : QString::fromUtf8(choices_->of(fixed));
    }

    /** Any JSON value, for places where another kind is expected. */
    QVariant anything(int depth = 0)
    {
        switch (choices_->upTo(depth < 3 ? 9 : 6)) {
        case 0:
            return {};
        case 1:
            return choices_->oneIn(2);
        case 2:
            return static_cast<qlonglong>(choices_->upTo(65536)) - 100;
        case 3:
            return 0.5 * choices_->upTo(100);
        case 4:
            return text();
        case 5:
            return QVariantMap();
        case 6: {
            QVariantList list;
            for (unsigned n = choices_->upTo(4); n > 0; --n)
                list.append(anything(depth + 1));
            return list;
        }
        case 7:
            return value();
        default: {
            QVariantMap map;
            for (unsigned n = choices_->upTo(4); n > 0; --n)
                map.insert(text(), anything(depth + 1));
            return map;
        }
        }
    }

    /** `expected`, or rarely something else. */
    QVariant mostly(const QVariant& expected) { return choices_->oneIn(40) ? anything() : expected; }

    QVariant value()
    {
        static constexpr std::array lists{"SS", "NS", "BS"};
        switch (choices_->upTo(6)) {
        case 0:
            return QVariantMap{{"N", mostly(choices_->oneIn(4) ? text() : QString::number(choices_->upTo(1000)))}};
        case 1:
            return QVariantMap{{"B", text()}};
        case 2: {
            QVariantList list;
            for (unsigned n = choices_->upTo(4); n > 0; --n)
                list.append(mostly(text()));
            return QVariantMap{{choices_->of(lists), list}};
        }
        default:
            return QVariantMap{{"S", mostly(text())}};
        }
    }

    Choices* const choices_;
};

#endif
