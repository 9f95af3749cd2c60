#include "load/replymeter.h"

#include "protocol/framing.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace Bench {

namespace {

// Members are sorted by name, so that these are the last ones of every reply that reports success.
constexpr std::string_view SuccessEnd = R"("__rc":200,"__rcstr":"OK"})";

constexpr std::string_view HeadEnd = "\r\n\r\n";
constexpr std::string_view LengthHeader = "\r\nContent-Length: ";
constexpr std::size_t LongestHead = 64 * 1024;

} // namespace

void ReplyMeter::begin()
{
    received_ = 0;
    expected_ = 0;
    head_.clear();
}

void ReplyMeter::takeBytes(const char* bytes, std::size_t count)
{
    if (expected_ == 0)
        takeHead(bytes, count);
    received_ += count;
    const std::size_t fresh = std::min(count, KeptBytes);
    std::memmove(kept_.data(), kept_.data() + fresh, KeptBytes - fresh);
    std::copy_n(bytes + count - fresh, fresh, kept_.data() + KeptBytes - fresh);
}

void ReplyMeter::takeHead(const char* bytes, std::size_t count)
{
    if (interface_ == Interface::Wire) {
        head_.append(bytes, std::min(Framing::LengthSize - head_.size(), count));
        if (head_.size() == Framing::LengthSize)
            expected_ = Framing::LengthSize + Framing::readLength(head_.data());
        return;
    }
    head_.append(bytes, count);
    const std::size_t end = head_.find(HeadEnd);
    if (end == std::string::npos) {
        isBroken_ = head_.size() > LongestHead;
        return;
    }
    head_.resize(end + HeadEnd.size());
    expected_ = head_.size() + lengthAfterHead();
}

std::size_t ReplyMeter::lengthAfterHead()
{
    const std::size_t at = head_.find(LengthHeader);
    isBroken_ = at == std::string::npos;
    return isBroken_ ? 0 : std::strtoull(head_.c_str() + at + LengthHeader.size(), nullptr, 10);
}

bool ReplyMeter::succeeded() const
{
    if (interface_ != Interface::Wire)
        return head_.starts_with("HTTP/1.1 200 ");
    return std::string_view(kept_.data(), KeptBytes).ends_with(SuccessEnd) &&
           received_ > Framing::LengthSize + SuccessEnd.size();
}

QByteArray ReplyMeter::end() const
{
    const std::size_t body = std::max(received_, head_.size()) - head_.size();
    const std::size_t count = std::min(KeptBytes, body);
    return {kept_.data() + KeptBytes - count, static_cast<qsizetype>(count)};
}

} // namespace Bench
