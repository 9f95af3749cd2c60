#ifndef QUORVA_JSON_TREEBUILDER_H
#define QUORVA_JSON_TREEBUILDER_H

#include "json/jsonnumber.h"
#include "json/jsonreader.h"
#include "json/stringdecoder.h"

#include <rapidjson/reader.h>

#include <QByteArrayView>
#include <QString>
#include <QVariant>

#include <map>
#include <utility>
#include <vector>

namespace Json {

/**
 * Builds the tree from the events of the library's reader. Each open container has its own frame and moves into its
 * parent when it is complete: a container that is already inside a variant would be shared, and copied at the next
 * insert. Used by one thread, for one text.
 */
class TreeBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeBuilder> {
public:
    TreeBuilder() { open_.reserve(UsualDepth); }

    bool Null() { return add(QVariant()); }
    bool Bool(bool value) { return add(value); }

    bool RawNumber(const char* text, rapidjson::SizeType length, bool)
    {
        QVariant number = numberFromText({text, length});
        return number.isValid() && add(std::move(number));
    }

    bool String(const char* text, rapidjson::SizeType length, bool) { return add(decode(text, length)); }

    bool Key(const char* text, rapidjson::SizeType length, bool)
    {
        open_.back().name = decode(text, length);
        return true;
    }

    bool StartObject() { return start(true); }
    bool StartArray() { return start(false); }

    bool EndObject(rapidjson::SizeType)
    {
        const QVariantMap map(std::move(open_.back().members));
        open_.pop_back();
        return add(map);
    }

    bool EndArray(rapidjson::SizeType)
    {
        const QVariantList list(std::move(open_.back().elements));
        open_.pop_back();
        return add(list);
    }

    /** True if every string so far was UTF-8. The escape of a lone surrogate counts as invalid too. */
    bool stringsAreValid() const { return firstBroken_ == nullptr; }

    /** The start of the first string that is not. */
    const char* firstBrokenString() const { return firstBroken_; }

    QVariant takeRoot() { return std::move(root_); }

private:
    struct Container {
        bool isObject;
        QString name; // of the member whose value comes next
        std::map<QString, QVariant> members;
        QVariantList elements;
    };

    static constexpr std::size_t UsualDepth = 8;

    bool start(bool isObject)
    {
        if (open_.size() == MaxDepth)
            return false;
        open_.push_back({isObject, {}, {}, {}});
        return true;
    }

    bool add(QVariant&& value)
    {
        if (open_.empty())
            root_ = std::move(value);
        else if (Container& parent = open_.back(); parent.isObject)
            parent.members.insert_or_assign(std::move(parent.name), std::move(value));
        else
            parent.elements.append(std::move(value));
        return true;
    }

    QString decode(const char* text, rapidjson::SizeType length)
    {
        const QByteArrayView bytes(text, static_cast<qsizetype>(length));
        bool isBroken = false;
        QString decoded = decoder_.decode(bytes, &isBroken);
        if (firstBroken_ == nullptr && isBroken)
            firstBroken_ = text;
        return decoded;
    }

    StringDecoder decoder_;
    const char* firstBroken_ = nullptr; // in the text that is parsed
    std::vector<Container> open_;
    QVariant root_;
};

} // namespace Json

#endif
