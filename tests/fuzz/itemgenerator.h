#ifndef QUORVA_TESTS_FUZZ_ITEMGENERATOR_H
#define QUORVA_TESTS_FUZZ_ITEMGENERATOR_H

#include "environments.h"
#include "valuegenerator.h"

#include "support/tablefixture.h"

#include <QString>
#include <QVariant>

#include <set>
#include <utility>

/** Makes table names, keys and items out of choices, well-formed and not. */
class ItemGenerator : protected ValueGenerator {
public:
    using ValueGenerator::ValueGenerator;

    /** The keys that were used so far. */
    const std::set<std::pair<QString, QString>>& keys() const { return keys_; }

protected:
    QString tableName()
    {
        switch (choices_->upTo(32)) {
        case 28:
            return environments().second() + "|t";
        case 29:
            return environments().first() + "/../first|t";
        case 30:
            return environments().first() + "/missing|t";
        case 31: // but no file outside of the directory
            return environments().first() + '|' + text().replace('/', '_').replace('\\', '_').left(60);
        default:
            return environments().first() + (choices_->oneIn(3) ? "|u" : "|t");
        }
    }

    QVariant key()
    {
        const QString hash = keyText();
        const QString range = keyText();
        keys_.emplace(hash, range);
        QVariantMap result{{"HashKeyElement", mostly(textValue(hash))}, {"RangeKeyElement", mostly(textValue(range))}};
        if (choices_->oneIn(40))
            result.remove("RangeKeyElement");
        return mostly(result);
    }

    QVariantMap item()
    {
        QVariantMap result;
        for (unsigned n = choices_->upTo(5); n > 0; --n)
            result.insert(text(), mostly(value()));
        const QString hash = keyText();
        const QString range = keyText();
        keys_.emplace(hash, range);
        result.insert("h", mostly(textValue(hash)));
        if (!choices_->oneIn(40))
            result.insert("r", mostly(textValue(range)));
        return result;
    }

private:
    std::set<std::pair<QString, QString>> keys_;
};

#endif
