#include "http/replytext.h"

#include "http/apierror.h"
#include "protocol/envelope.h"
#include "json/jsonadapter.h"
#include "json/jsonmembers.h"
#include "json/jsontext.h"

#include <optional>

using namespace Qt::StringLiterals;

namespace Http {

namespace {

enum { SmallestStatus = 200, LargestStatus = 599 };

void appendMember(QByteArrayView name, QByteArrayView value, QByteArray* object)
{
    if (!object->endsWith('{'))
        object->append(',');
    object->append(name).append(':').append(value);
}

QByteArray stringOf(QByteArrayView json)
{
    QVariant value;
    return Json::parse(json.toByteArray(), &value) ? value.toString().toLatin1() : QByteArray();
}

QByteArray quoted(QByteArrayView latin1)
{
    QByteArray text;
    Json::appendLatin1(latin1, &text);
    return text;
}

/** The object's text with each member that is a bare string wrapped; what is no object comes back as it is. */
QByteArray wrapStrings(QByteArrayView object)
{
    std::vector<Json::Member> members;
    if (!Json::findMembers(object, &members))
        return object.toByteArray();
    QByteArray text = "{";
    for (const Json::Member& member : members) {
        const bool isBare = member.value.startsWith('"');
        appendMember(member.nameText,
                     isBare ? "{\"S\":" + member.value.toByteArray() + '}' : member.value.toByteArray(), &text);
    }
    return text + '}';
}

/** The envelope's two members; a status that HTTP has no room for counts as none. */
struct Envelope {
    std::optional<int> status;
    QByteArray outcome;
};

Envelope envelopeOf(const std::vector<Json::Member>& members)
{
    Envelope envelope;
    for (const Json::Member& member : members) {
        if (member.name == Envelopes::outcomeName())
            envelope.outcome = stringOf(member.value);
        if (member.name != Envelopes::codeName())
            continue;
        bool isNumber = false;
        const int status = member.value.toByteArray().toInt(&isNumber);
        if (isNumber && status >= SmallestStatus && status <= LargestStatus)
            envelope.status = status;
    }
    return envelope;
}

class BodyWriter {
public:
    BodyWriter(const Operations::Operation& operation, bool isError) : operation_(operation), isError_(isError) {}

    void add(const Json::Member& member)
    {
        if (member.name == Envelopes::codeName() || member.name == Envelopes::outcomeName())
            return;
        hasType_ |= member.name == Envelopes::typeName();
        hasMessage_ |= member.name == Envelopes::messageName();
        appendMember(member.nameText, valueOf(member), &text_);
    }

    QByteArray finish(const QByteArray& outcome)
    {
        if (isError_ && !hasType_)
            appendMember(quoted(Envelopes::typeName().toLatin1()),
                         quoted(fullErrorType(ErrorType::InternalServerError)), &text_);
        if (isError_ && !hasMessage_)
            appendMember(quoted(Envelopes::messageName().toLatin1()), quoted(outcome), &text_);
        return text_ + '}';
    }

private:
    QByteArray valueOf(const Json::Member& member) const
    {
        if (isError_)
            return member.name == Envelopes::typeName() ? quoted(fullErrorType(stringOf(member.value)))
                                                        : member.value.toByteArray();
        const bool holdsKeys = member.name == u"LastEvaluatedKey"_s ||
                               (member.name == u"Attributes"_s && operation_ == Operations::UpdateItem);
        return holdsKeys ? wrapStrings(member.value) : member.value.toByteArray();
    }

    const Operations::Operation& operation_;
    const bool isError_;
    QByteArray text_ = "{";
    bool hasType_ = false;
    bool hasMessage_ = false;
};

} // namespace

bool translateReply(const Operations::Operation& operation, const QByteArray& reply, Answer* answer)
{
    std::vector<Json::Member> members;
    if (!Json::findMembers(reply, &members))
        return false;
    const Envelope envelope = envelopeOf(members);
    if (!envelope.status)
        return false;
    BodyWriter body(operation, *envelope.status != Envelopes::SuccessCode);
    for (const Json::Member& member : members)
        body.add(member);
    *answer = {*envelope.status, envelope.outcome, body.finish(envelope.outcome)};
    return true;
}

} // namespace Http
