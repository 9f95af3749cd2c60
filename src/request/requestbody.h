#ifndef QUORVA_REQUEST_REQUESTBODY_H
#define QUORVA_REQUEST_REQUESTBODY_H

#include "json/usualreader.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QLatin1StringView>
#include <QVariant>
#include <QVariantMap>

#include <utility>

/**
 * The members of a request's body. Those of usual JSON (see Json::findUsualMembers) remain text until they are needed:
 * for many short strings, their bytes suffice, and a tree costs several times as much as its text. Any other body is
 * parsed into a tree at once. Used by one thread at a time.
 */
class RequestBody {
public:
    /** Without members. */
    RequestBody() = default;
    explicit RequestBody(QVariantMap tree) : tree_(std::move(tree)) {}

    /**
     * Replaces the members with those of `text`; none if it is JSON other than an object. An object at `items` becomes
     * a Json::SplitObject if it is canonical. False, without members, if `text` is not JSON.
     */
    [[nodiscard]] bool parse(const QByteArray& text, Json::MemberPath items = {});

    bool isEmpty() const { return members_.isEmpty() && tree_.isEmpty(); }
    void clear();

    bool contains(QLatin1StringView name) const;

    /** The value of a member, parsed by this call if it is still text; invalid if there is none. */
    QVariant value(QLatin1StringView name) const;

    /** The same for a value that is not needed again, so that it need not be shared. */
    QVariant take(QLatin1StringView name);

    /** The JSON of a member that is still text. Null if it is not, or is missing. Valid until the members change. */
    QByteArrayView textOf(QLatin1StringView name) const;

private:
    bool isWithItems(QLatin1StringView name) const { return !name.isEmpty() && name == nameWithItems_; }

    QByteArray text_; // the members point into it
    Json::UsualMembers members_;
    QLatin1StringView nameWithItems_; // of the member that is already parsed
    QVariant withItems_;
    QVariantMap tree_;
};

#endif
