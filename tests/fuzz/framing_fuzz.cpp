/* The bytes of a connection, in pieces that the input chooses: what is taken as header and what as body. */
#include "budget.h"
#include "choices.h"
#include "fuzztarget.h"

#include "net/bdbreqhandler_linux.h"
#include "protocol/framing.h"

#include <QByteArray>

#include <string>
#include <vector>

namespace {

/** An independent parser of headers. -1 when one is malformed or cut off. */
long headerSize(std::string_view bytes)
{
    const auto length = [&](std::size_t at) {
        unsigned long value = 0;
        for (std::size_t i = at; i < at + 4; ++i)
            value = value * 256 + static_cast<unsigned char>(bytes[i]);
        return value;
    };
    if (bytes.size() < 4 || length(0) > 64 || bytes.size() < 8 + length(0))
        return -1;
    return static_cast<long>(8 + length(0));
}

/** The handler, with access to the request. */
class Handler : public BDBReqHandler {
public:
    explicit Handler(BDBObjTable* registry) : BDBReqHandler(16, 16, registry, -1) {}

    const TransferBuffer& sendBuffer() override
    {
        buffer_ = {reply().constData(), static_cast<std::size_t>(reply().size())};
        return buffer_;
    }
    using BDBReqHandler::request;

private:
    TransferBuffer buffer_;
};

void check(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    Framing::RequestHeader header;
    const int rc = Framing::parseHeader(bytes, &header);
    const long expected = headerSize(bytes);
    FUZZ_ASSERT((rc == 0) == (expected >= 0));
    if (rc == 0) {
        FUZZ_ASSERT(header.consumed == static_cast<std::size_t>(expected));
        FUZZ_ASSERT(header.operation == bytes.substr(4, header.consumed - 8));
        char length[Framing::LengthSize];
        Framing::writeLength(header.bodyLength, length);
        FUZZ_ASSERT(std::string_view(length, sizeof length) == bytes.substr(header.consumed - 4, 4));
    } else {
        FUZZ_ASSERT(header.operation.empty() && header.bodyLength == 0 && header.consumed == 0);
    }

    // The same in pieces, whose sizes the input gives in a byte each. The first must contain the whole header.
    BDBObjTable registry(16);
    Handler handler(&registry);
    Choices choices(data, size);
    std::string given;
    while (!choices.isEmpty() && !handler.isReadComplete()) {
        const std::string_view piece = choices.piece(255);
        const std::string copy(piece); // so that reads past the end are detected
        const bool first = given.empty();
        const int taken = handler.appendData(copy.data(), static_cast<unsigned>(copy.size()));
        if (first) {
            FUZZ_ASSERT((taken == 0) == (headerSize(piece) >= 0));
            if (taken != 0)
                return;
        }
        if (taken != 0)
            return; // an empty body was complete with its header, and the rest is another request
        given += piece;
        if (given.empty())
            return;
        const auto bodyBegin = static_cast<std::size_t>(headerSize(given));
        const std::string_view body = std::string_view(given).substr(bodyBegin);
        const std::uint32_t declared = Framing::readLength(given.data() + bodyBegin - 4);
        FUZZ_ASSERT(handler.isReadComplete() == (body.size() >= declared));
        const QByteArray& collected = handler.request().body;
        FUZZ_ASSERT(std::string_view(collected.constData(), static_cast<std::size_t>(collected.size())) == body);
        FUZZ_ASSERT(collected.capacity() <= std::max<qsizetype>(64 * 1024, 4 * collected.size()));
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    withinBudget(size, [&] { check(data, size); });
    return 0;
}
