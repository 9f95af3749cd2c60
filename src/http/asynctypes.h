#ifndef QUORVA_HTTP_ASYNCTYPES_H
#define QUORVA_HTTP_ASYNCTYPES_H

#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>

#include <chrono>

/** The asynchronous types of the transport. Their executor is the event loop's own, which saves an indirect call. */
namespace Http {

using Clock = std::chrono::steady_clock;
using Executor = boost::asio::io_context::executor_type;
using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Executor>;
using Timer = boost::asio::basic_waitable_timer<Clock, boost::asio::wait_traits<Clock>, Executor>;
using ErrorCode = boost::system::error_code;

} // namespace Http

#endif
