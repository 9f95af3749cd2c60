// Prints the shapes of operations that are named as arguments, for model_test.py to compare with the API's model.
#include "api/operation.h"
#include "api/replyjson.h"
#include "api/shapes.h"

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

using Kind = Api::Shape::Kind;

const char* nameOf(Kind kind)
{
    switch (kind) {
    case Kind::String:
        return "string";
    case Kind::Integer:
        return "integer";
    case Kind::Long:
        return "long";
    case Kind::Boolean:
        return "boolean";
    case Kind::Blob:
        return "blob";
    case Kind::Structure:
        return "structure";
    case Kind::List:
        return "list";
    case Kind::Map:
        break;
    }
    return "map";
}

class Dump {
public:
    /** The number of a shape, which is printed later. */
    long long numberOf(const Api::Shape* shape)
    {
        const auto [found, isNew] = numbers_.emplace(shape, static_cast<long long>(shapes_.size()));
        if (isNew)
            shapes_.push_back(shape);
        return found->second;
    }

    void putShapes(Api::JsonWriter* out)
    {
        out->StartArray();
        for (std::size_t i = 0; i < shapes_.size(); ++i) // grows meanwhile
            putShape(*shapes_[i], out);
        out->EndArray();
    }

private:
    void putShape(const Api::Shape& shape, Api::JsonWriter* out)
    {
        out->StartObject();
        Api::put("type", std::string_view(nameOf(shape.kind)), out);
        Api::put("name", shape.name, out);
        Api::putName("members", out);
        out->StartObject();
        for (const Api::Member& member : shape.members)
            Api::put(member.name, numberOf(member.shape), out);
        out->EndObject();
        Api::putName("required", out);
        out->StartArray();
        for (const Api::Member& member : shape.members) {
            if (member.isRequired)
                Api::putText(member.name, out);
        }
        out->EndArray();
        if (shape.element != nullptr)
            Api::put("element", numberOf(shape.element), out);
        if (shape.key != nullptr)
            Api::put("key", numberOf(shape.key), out);
        if (shape.minimum != Api::Shape::NoMinimum)
            Api::put("min", shape.minimum, out);
        if (shape.maximum != Api::Shape::NoMaximum)
            Api::put("max", shape.maximum, out);
        if (!shape.pattern.empty())
            Api::put("pattern", shape.pattern, out);
        if (!shape.values.empty()) {
            Api::putName("enum", out);
            out->StartArray();
            for (const std::string_view value : shape.values)
                Api::putText(value, out);
            out->EndArray();
        }
        out->EndObject();
    }

    std::map<const Api::Shape*, long long> numbers_;
    std::vector<const Api::Shape*> shapes_;
};

} // namespace

int main(int argc, char** argv)
{
    Items::JsonText text;
    Api::JsonWriter out(text);
    Dump dump;
    out.StartObject();
    Api::putName("operations", &out);
    out.StartObject();
    for (int i = 1; i < argc; ++i) {
        if (const Api::Operation* const operation = Api::findOperation(argv[i]))
            Api::put(argv[i], dump.numberOf(operation->input), &out);
        else
            Api::put(argv[i], Api::refusalOf(argv[i]).message, &out);
    }
    out.EndObject();
    Api::putName("shapes", &out);
    dump.putShapes(&out);
    out.EndObject();
    std::puts(text.GetString());
    return 0;
}
