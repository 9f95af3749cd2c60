#ifndef QUORVA_RECORDS_ITEMFORMATTER_H
#define QUORVA_RECORDS_ITEMFORMATTER_H

#include "protocol/keynames.h"
#include "json/canonicaltext.h"

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QVariantMap>

#include <optional>
#include <vector>

/**
 * Converts stored items to the JSON of a reply: reinserts their key attributes, in name order, and reduces them to an
 * "AttributesToGet" list. An item in the form in which this server stores it is validated and copied; any other is
 * parsed and re-serialized. The reply is the same either way. Used by one thread.
 */
class ItemFormatter {
public:
    /** For items read by key; they are returned without key attributes. */
    ItemFormatter() = default;

    /** For the items of a walk: each gets its key attributes. */
    explicit ItemFormatter(KeyNames names);

    /** From here on drops attributes that are not in the list, except the key attributes of a walk. */
    void keepOnly(const QVariantList& attributesToGet);

    const KeyNames& names() const { return names_; }

    /** Appends one item to `out`. False, with `out` unchanged, when the stored text is not JSON. */
    [[nodiscard]] bool append(const QByteArray& stored, QByteArray* out);

    /** The same for a walk, with the bytes of the item's keys. */
    [[nodiscard]] bool append(const QByteArray& stored, QByteArrayView hash, QByteArrayView range, QByteArray* out);

private:
    enum class KeyPart { Hash, Range };

    struct KeyAttribute {
        QString name;
        QByteArray utf8Name;
        QByteArray nameText; // as JSON
        KeyPart part;
        QByteArrayView bytes; // of the item being appended
    };

    void appendMembers(qsizetype storedSize, QByteArray* out) const;
    bool appendParsed(const QByteArray& stored, QByteArray* out) const;

    KeyNames names_;
    std::vector<KeyAttribute> keys_; // ascending by name
    std::optional<QSet<QString>> wanted_;
    std::vector<Json::MemberText> members_; // of the current item; a member variable, to reuse its memory
};

#endif
