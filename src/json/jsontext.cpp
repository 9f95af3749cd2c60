#include "json/jsontext.h"

#include "json/canonicaltext.h"
#include "json/jsoncharacters.h"
#include "json/jsonwriter.h"

namespace Json {

void registerTypes()
{
    qRegisterMetaType<RawText>();
    qRegisterMetaType<RawElements>();
    qRegisterMetaType<SplitObject>();
}

void beginElement(QByteArray* elements)
{
    if (!elements->isEmpty())
        elements->append(',');
}

void TextWriter::putLatin1(QByteArrayView bytes)
{
    if (!isPlain(bytes)) {
        put(serialize(bytes.toByteArray()));
        return;
    }
    char* const to = piece(bytes.size() + 2, true);
    *to = '"';
    *std::copy(bytes.begin(), bytes.end(), to + 1) = '"';
}

} // namespace Json
