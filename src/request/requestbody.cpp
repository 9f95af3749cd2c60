#include "request/requestbody.h"

#include <utility>

bool RequestBody::parse(const QByteArray& text, Json::MemberPath items)
{
    clear();
    text_ = text;
    nameWithItems_ = items.empty() ? QLatin1StringView() : QLatin1StringView(items.front());
    if (Json::findUsualMembers(text, text, &members_, items, &withItems_))
        return true;
    clear();
    QVariant tree;
    if (!Json::parseUsual(text, &tree, items))
        return false;
    tree_ = tree.toMap(); // Kept: JSON other than an object is an empty request
    return true;
}

void RequestBody::clear()
{
    if (text_.isNull() && tree_.isEmpty())
        return; // the usual case before the next request
    text_ = QByteArray();
    members_ = Json::UsualMembers(); // releases the memory of many members
    nameWithItems_ = {};
    withItems_.clear();
    tree_.clear();
}

bool RequestBody::contains(QLatin1StringView name) const
{
    return Json::findMember(members_, name) != nullptr || (!tree_.isEmpty() && tree_.contains(name));
}

QVariant RequestBody::value(QLatin1StringView name) const
{
    const Json::UsualMember* const member = Json::findMember(members_, name);
    if (member == nullptr)
        return tree_.isEmpty() ? QVariant() : tree_.value(name);
    return isWithItems(name) ? withItems_ : Json::usualValue(text_, member->value);
}

QVariant RequestBody::take(QLatin1StringView name)
{
    if (!tree_.isEmpty())
        return tree_.take(name);
    return isWithItems(name) ? std::exchange(withItems_, {}) : value(name);
}

QByteArrayView RequestBody::textOf(QLatin1StringView name) const
{
    const Json::UsualMember* const member = isWithItems(name) ? nullptr : Json::findMember(members_, name);
    return member != nullptr ? member->value : QByteArrayView();
}
