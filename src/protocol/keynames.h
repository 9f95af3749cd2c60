#ifndef QUORVA_PROTOCOL_KEYNAMES_H
#define QUORVA_PROTOCOL_KEYNAMES_H

#include <QString>

/** The names of a table's key attributes. */
struct KeyNames {
    QString hash;
    QString range;

    bool contains(const QString& name) const { return name == hash || name == range; }
};

#endif
