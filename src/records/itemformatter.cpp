#include "records/itemformatter.h"

#include "json/jsonreader.h"
#include "json/jsontext.h"
#include "json/jsonwriter.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype RoomForKeys = 256; // an estimate; the writer grows beyond it

} // namespace

ItemFormatter::ItemFormatter(KeyNames names) : names_(std::move(names))
{
    keys_.push_back({names_.range, names_.range.toUtf8(), Json::serialize(names_.range), KeyPart::Range, {}});
    if (names_.hash != names_.range) // if both have the same name, the range key wins
        keys_.push_back({names_.hash, names_.hash.toUtf8(), Json::serialize(names_.hash), KeyPart::Hash, {}});
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
    if (keys_.empty() && !wanted_) {
        if (!Json::isCanonicalObject(stored))
            return appendParsed(stored, out);
        out->append(stored);
        return true;
    }
    if (!Json::splitObject(stored, &members_))
        return appendParsed(stored, out);
    appendMembers(stored.size(), out);
    return true;
}

bool ItemFormatter::append(const QByteArray& stored, QByteArrayView hash, QByteArrayView range, QByteArray* out)
{
    for (KeyAttribute& key : keys_)
        key.bytes = key.part == KeyPart::Hash ? hash : range;
    return append(stored, out);
}

void ItemFormatter::appendMembers(qsizetype storedSize, QByteArray* out) const
{
    Json::TextWriter writer(std::move(*out), storedSize + RoomForKeys);
    writer.beginObject();
    const Json::MemberText* run = members_.data(); // the first member of the run that is copied in one piece
    const Json::MemberText* member = run;
    const Json::MemberText* const end = run + members_.size();
    const auto appendRun = [&] {
        if (run != member)
            writer.put(Json::textOf(run, member));
    };
    auto key = keys_.begin();
    const auto appendKey = [&] {
        writer.nameText(key->nameText);
        writer.beginObject();
        writer.name("S"_L1);
        writer.putLatin1(key->bytes);
        writer.endObject();
        ++key;
    };
    while (member != end) {
        // UTF-8 bytes compare with an ASCII name as characters do.
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
    writer.endObject();
    *out = writer.take();
}

bool ItemFormatter::appendParsed(const QByteArray& stored, QByteArray* out) const
{
    QVariant value;
    if (!Json::parse(stored, &value))
        return false;
    QVariantMap item = value.toMap(); // empty if it is not an object
    if (wanted_)
        item.removeIf([this](const auto& attribute) { return !wanted_->contains(attribute.key()); });
    for (const KeyAttribute& key : keys_)
        item.insert(key.name, QVariantMap{{"S", key.bytes.toByteArray()}});
    Json::append(item, out);
    return true;
}
