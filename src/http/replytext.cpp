#include "http/replytext.h"

#include "http/apierror.h"
#include "protocol/envelope.h"
#include "json/jsoncharacters.h"
#include "json/jsonmembers.h"
#include "json/jsonreader.h"
#include "json/jsontext.h"

#include <optional>

using namespace Qt::StringLiterals;

namespace Http {

namespace {

enum { SmallestStatus = 200, LargestStatus = 599 };

QByteArray stringOf(QByteArrayView json)
{
    const bool isString = json.size() >= 2 && json.startsWith('"');
    if (isString && Json::isPlain(json.sliced(1, json.size() - 2)))
        return json.sliced(1, json.size() - 2).toByteArray();
    QVariant value;
    return Json::parse(json.toByteArray(), &value) ? value.toString().toLatin1() : QByteArray();
}

void putString(QByteArrayView json, Json::TextWriter* out)
{
    out->beginObject();
    out->name("S"_L1);
    out->put(json);
    out->endObject();
}

/** Writes an object with all members that are bare strings wrapped; anything else is written unchanged. */
void putWithWrappedStrings(QByteArrayView object, Json::TextWriter* out)
{
    std::vector<Json::Member> members;
    if (!Json::findMembers(object, &members)) {
        out->put(object);
        return;
    }
    out->beginObject();
    for (const Json::Member& member : members) {
        out->nameText(member.nameText);
        if (member.value.startsWith('"'))
            putString(member.value, out);
        else
            out->put(member.value);
    }
    out->endObject();
}

/** The parts of a reply's envelope for the status line; a status that is not valid in HTTP counts as none. */
struct StatusLine {
    std::optional<int> status;
    QByteArray outcome;
};

StatusLine statusLineOf(const std::vector<Json::Member>& members)
{
    StatusLine line;
    for (const Json::Member& member : members) {
        if (member.isNamed(Envelopes::OutcomeName))
            line.outcome = stringOf(member.value);
        if (!member.isNamed(Envelopes::CodeName))
            continue;
        bool isNumber = false;
        const int status = member.value.toInt(&isNumber);
        if (isNumber && status >= SmallestStatus && status <= LargestStatus)
            line.status = status;
    }
    return line;
}

class BodyWriter {
public:
    /** `room` is the size that the body will probably have. */
    BodyWriter(const Operations::Operation& operation, bool isError, qsizetype room)
        : operation_(operation), isError_(isError), text_({}, room)
    {
        text_.beginObject();
    }

    void add(const Json::Member& member)
    {
        if (member.isNamed(Envelopes::CodeName) || member.isNamed(Envelopes::OutcomeName))
            return;
        text_.nameText(member.nameText);
        if (isError_)
            putErrorValue(member);
        else if (holdsKeys(member))
            putWithWrappedStrings(member.value, &text_);
        else
            text_.put(member.value);
    }

    QByteArray finish(const QByteArray& outcome)
    {
        if (isError_ && !hasType_) {
            text_.name(Envelopes::TypeName);
            text_.putLatin1(fullErrorType(ErrorTypes::InternalServerError));
        }
        if (isError_ && !hasMessage_) {
            text_.name(Envelopes::MessageName);
            text_.putLatin1(outcome);
        }
        text_.endObject();
        return text_.take();
    }

private:
    void putErrorValue(const Json::Member& member)
    {
        const bool isType = member.isNamed(Envelopes::TypeName);
        hasType_ |= isType;
        hasMessage_ |= member.isNamed(Envelopes::MessageName);
        if (isType)
            text_.putLatin1(fullErrorType(stringOf(member.value)));
        else
            text_.put(member.value);
    }

    bool holdsKeys(const Json::Member& member) const
    {
        return member.isNamed("LastEvaluatedKey") ||
               (member.isNamed("Attributes") && operation_ == Operations::UpdateItem);
    }

    const Operations::Operation& operation_;
    const bool isError_;
    Json::TextWriter text_;
    bool hasType_ = false;
    bool hasMessage_ = false;
};

} // namespace

bool translateReply(const Operations::Operation& operation, const QByteArray& reply, Answer* answer)
{
    std::vector<Json::Member> members;
    if (!Json::findMembers(reply, &members))
        return false;
    const StatusLine line = statusLineOf(members);
    if (!line.status)
        return false;
    BodyWriter body(operation, *line.status != Envelopes::SuccessCode, reply.size());
    for (const Json::Member& member : members)
        body.add(member);
    *answer = {*line.status, line.outcome, body.finish(line.outcome)};
    return true;
}

} // namespace Http
