#include "items/jsonwriter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

template <typename Writer> std::string written(const char* text, std::size_t length)
{
    Items::JsonText buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key(text, static_cast<rapidjson::SizeType>(length));
    writer.String(text, static_cast<rapidjson::SizeType>(length));
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

void expectAsTheLibraryWrites(const std::string& text)
{
    const auto exact = std::make_unique<char[]>(text.size()); // AddressSanitizer sees what is read beyond it
    text.copy(exact.get(), text.size());
    EXPECT_EQ(written<Items::JsonWriter>(exact.get(), text.size()),
              written<rapidjson::Writer<Items::JsonText>>(exact.get(), text.size()))
        << testing::PrintToString(text);
    std::string appended = "{";
    Items::appendString({exact.get(), text.size()}, &appended);
    appended += ':';
    Items::appendString({exact.get(), text.size()}, &appended);
    EXPECT_EQ(appended + '}', written<rapidjson::Writer<Items::JsonText>>(exact.get(), text.size()))
        << testing::PrintToString(text);
}

} // namespace

TEST(JsonWriter, WritesEveryByteWhereverItIsAsTheLibraryDoes)
{
    for (std::size_t length = 0; length <= 34; ++length) {
        const std::string plain(length, 'a');
        expectAsTheLibraryWrites(plain);
        for (std::size_t at = 0; at < length; ++at) {
            for (int byte = 0; byte < 256; ++byte) {
                std::string text = plain;
                text[at] = static_cast<char>(byte);
                expectAsTheLibraryWrites(text);
            }
        }
    }
}

TEST(JsonWriter, EscapesWhatIsNotLiteral)
{
    const std::string text = "say \"\x1f\" \\ in some words";
    EXPECT_EQ(written<Items::JsonWriter>(text.data(), text.size()),
              R"({"say \"\u001F\" \\ in some words":"say \"\u001F\" \\ in some words"})");
}
