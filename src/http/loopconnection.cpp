#include "http/loopconnection.h"

#include "protocol/framing.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>

#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace Http {

namespace asio = boost::asio;

namespace {

constexpr std::size_t LengthSize = Framing::LengthSize;
constexpr qsizetype LargestStep = 1024 * 1024; // bytes of a reply to allocate before they arrive

} // namespace

LoopConnection::LoopConnection(const Executor& executor, Base::Descriptor connected) : socket_(executor)
{
    ErrorCode error; // the loop cannot watch it: then send() fails
    socket_.assign(asio::ip::tcp::v4(), connected.number(), error);
    if (!error)
        descriptor_ = connected.release();
}

// Not const, as it changes the state that the object represents. NOLINTNEXTLINE(readability-make-member-function-const)
bool LoopConnection::send(const QByteArray& bytes)
{
    const auto size = static_cast<std::size_t>(bytes.size());
    return ::send(descriptor_, bytes.constData(), size, MSG_NOSIGNAL | MSG_DONTWAIT) == bytes.size();
}

void LoopConnection::receive(Progress progress)
{
    progress_ = std::move(progress);
    inFront_ = 0;
    received_ = 0;
    hasLength_ = false;
    readMore();
}

void LoopConnection::cancel()
{
    ErrorCode ignored; // the operation ends in any case
    socket_.cancel(ignored);
}

void LoopConnection::readMore()
{
    asio::mutable_buffer room(front_.data() + inFront_, front_.size() - inFront_);
    if (hasLength_)
        room = {reply_.text.data() + received_, static_cast<std::size_t>(reply_.text.size() - received_)};
    socket_.async_read_some(room, [this](const ErrorCode& error, std::size_t size) { onRead(error, size); });
}

void LoopConnection::onRead(const ErrorCode& error, std::size_t size)
{
    try {
        take(error, size);
        if (reply_.error.isEmpty() && !reply_.isComplete) {
            progress_(reply_);
            readMore();
            return;
        }
    } catch (const std::bad_alloc&) {
        reply_.error = QStringLiteral("there is not enough memory for the reply");
    }
    Reply reply = std::exchange(reply_, {});
    std::exchange(progress_, nullptr)(reply); // may delete this object
}

void LoopConnection::take(const ErrorCode& error, std::size_t size)
{
    if (error == asio::error::eof)
        reply_.error = QStringLiteral("the server closed the connection");
    else if (error)
        reply_.error = QStringLiteral("receive: ") + QString::fromLocal8Bit(std::strerror(error.value()));
    else if (hasLength_)
        received_ += static_cast<qsizetype>(size);
    else if ((inFront_ += size) >= LengthSize)
        takeFront();
    reply_.isComplete = hasLength_ && received_ == length_;
    // Memory is allocated as the bytes arrive: a bogus length must not make us allocate four gigabytes.
    if (hasLength_ && received_ == reply_.text.size() && !reply_.isComplete)
        reply_.text.resize(received_ + std::min(length_ - received_, std::max(received_, LargestStep)));
}

void LoopConnection::takeFront()
{
    hasLength_ = true;
    length_ = Framing::readLength(front_.data());
    received_ = std::min(static_cast<qsizetype>(inFront_ - LengthSize), length_);
    hasSurplus_ = inFront_ > LengthSize + static_cast<std::size_t>(length_);
    reply_.text = QByteArray(front_.data() + LengthSize, received_);
}

} // namespace Http
