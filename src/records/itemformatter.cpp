#include "records/itemformatter.h"

#include "json/jsonadapter.h"

#include <algorithm>
#include <utility>

namespace {

/** What stands in front of the text of a key attribute. */
QByteArray beginningOf(const QString& name)
{
    QByteArray text;
    Json::append(name, &text);
    return text.append(R"(:{"S":)");
}

/** Writes an object's members, or runs of them, into memory that has room for them. */
class ObjectWriter {
public:
    explicit ObjectWriter(char* to) : cursor_(to) {}

    void begin() { *cursor_++ = std::exchange(first_, false) ? '{' : ','; }
    void put(QByteArrayView text) { cursor_ = std::copy(text.begin(), text.end(), cursor_); }

    /** Behind the object. */
    const char* end()
    {
        put(first_ ? "{}" : "}");
        return cursor_;
    }

private:
    char* cursor_;
    bool first_ = true;
};

/** The text of members that follow each other; at least one. */
QByteArrayView textOf(const Json::MemberText* begin, const Json::MemberText* end)
{
    return {begin->name.data() - 1, end[-1].value.end()}; // from the quote in front of the name
}

} // namespace

ItemFormatter::ItemFormatter(KeyNames names) : names_(std::move(names))
{
    keys_.push_back({names_.range, names_.range.toUtf8(), beginningOf(names_.range), KeyPart::Range, {}});
    if (names_.hash != names_.range) // of two attributes with one name the range key is the one to stay
        keys_.push_back({names_.hash, names_.hash.toUtf8(), beginningOf(names_.hash), KeyPart::Hash, {}});
    std::sort(keys_.begin(), keys_.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
}

void ItemFormatter::keepOnly(const QVariantList& attributesToGet)
{
    wanted_.emplace();
    for (const QVariant& attribute : attributesToGet)
        wanted_->insert(attribute.toString());
}

bool ItemFormatter::append(const QByteArray& stored, QByteArray* out)
{
    if (!Json::splitObject(stored, &members_))
        return appendParsed(stored, out);
    if (keys_.empty() && !wanted_)
        out->append(stored);
    else
        appendMembers(stored.size(), out);
    return true;
}

bool ItemFormatter::append(const QByteArray& stored, QByteArrayView hash, QByteArrayView range, QByteArray* out)
{
    for (KeyAttribute& key : keys_) {
        key.text.resize(0); // keeps its memory
        Json::appendLatin1(key.part == KeyPart::Hash ? hash : range, &key.text);
    }
    return append(stored, out);
}

void ItemFormatter::appendMembers(qsizetype storedSize, QByteArray* out) const
{
    qsizetype room = storedSize;
    for (const KeyAttribute& key : keys_)
        room += key.beginning.size() + key.text.size() + 2; // and a comma and a brace
    ObjectWriter writer(Json::extend(out, room));
    const Json::MemberText* run = members_.data(); // what was passed since and is to be copied as one piece
    const Json::MemberText* member = run;
    const Json::MemberText* const end = run + members_.size();
    const auto appendRun = [&] {
        if (run == member)
            return;
        writer.begin();
        writer.put(textOf(run, member));
    };
    auto key = keys_.begin();
    const auto appendKey = [&] {
        writer.begin();
        writer.put(key->beginning);
        writer.put(key->text);
        writer.put("}");
        ++key;
    };
    while (member != end) {
        // Against a name that is ASCII, the bytes of UTF-8 compare as the characters do.
        if (key != keys_.end() && key->utf8Name <= QByteArrayView(member->name)) {
            const bool replaces = key->utf8Name == QByteArrayView(member->name);
            appendRun();
            appendKey();
            run = replaces ? ++member : member;
        } else if (wanted_ && !wanted_->contains(member->name)) {
            appendRun();
            run = ++member;
        } else {
            ++member;
        }
    }
    appendRun();
    while (key != keys_.end())
        appendKey();
    out->truncate(writer.end() - out->constData());
}

bool ItemFormatter::appendParsed(const QByteArray& stored, QByteArray* out) const
{
    QVariant value;
    if (!Json::parse(stored, &value))
        return false;
    QVariantMap item = value.toMap(); // empty for JSON that is no object
    if (wanted_)
        item.removeIf([this](const auto& attribute) { return !wanted_->contains(attribute.key()); });
    for (const KeyAttribute& key : keys_)
        item.insert(key.name, QVariantMap{{"S", QVariant::fromValue(Json::RawText{key.text})}});
    Json::append(item, out);
    return true;
}
