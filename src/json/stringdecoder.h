#ifndef QUORVA_JSON_STRINGDECODER_H
#define QUORVA_JSON_STRINGDECODER_H

#include "json/jsoncharacters.h"

#include <QByteArrayView>
#include <QString>
#include <QStringConverter>

#include <array>
#include <cstddef>

namespace Json {

/** Decodes the strings of a text, whose escapes have been resolved. Used by one thread. */
class StringDecoder {
public:
    /** Sets `isBroken` if the bytes are not UTF-8; otherwise leaves it. */
    QString decode(QByteArrayView bytes, bool* isBroken)
    {
        // The decoder works byte by byte; most strings do not need it.
        if (isAscii(bytes))
            return decodeAscii(bytes);
        QString decoded = decoder_.decode(bytes);
        *isBroken = *isBroken || decoder_.hasError();
        return decoded;
    }

    static QString decodeAscii(QByteArrayView bytes)
    {
        return bytes.size() == 1 ? letter(bytes.front()) : QString::fromLatin1(bytes);
    }

private:
    /** A one-character ASCII string, such as the name of a type: static, without an allocation. */
    static QString letter(char c)
    {
        static constexpr auto Letters = [] {
            std::array<char16_t, 256> units{}; // each letter with a terminator
            for (std::size_t i = 0; i < units.size(); i += 2)
                units[i] = static_cast<char16_t>(i / 2);
            return units;
        }();
        return QString::fromRawData(reinterpret_cast<const QChar*>(&Letters[2 * static_cast<std::size_t>(c)]), 1);
    }

    // Stateless, so that a character cut off at the end of one string is not completed by the next string; a byte order
    // mark at the start of a string is text.
    QStringDecoder decoder_{QStringConverter::Utf8,
                            QStringConverter::Flag::Stateless | QStringConverter::Flag::ConvertInitialBom};
};

} // namespace Json

#endif
