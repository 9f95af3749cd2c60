#ifndef QUORVA_TOOLS_UNITS_H
#define QUORVA_TOOLS_UNITS_H

#include <QtGlobal>

#include <concepts>
#include <string>

/** Quantities in readable form: short, with a unit that suits the size. */
namespace Units {

/** "512 B", "1.5 KiB", "16.0 MiB": the units are powers of 1024. */
std::string bytes(double bytes);
template <std::integral Count> std::string bytes(Count count)
{
    return bytes(static_cast<double>(count));
}
/** "0.12 s", "12 s", "1 min 5 s", "3 h 4 min", "2 d 5 h". */
std::string duration(double seconds);
/** How long requests took, with three digits: "50 us", "2.5 ms", "10 s"; "longer" for Client::Latencies::Beyond. */
std::string latency(qint64 microseconds);
/** "0", "<0.01", "0.40", "12.3", "4567". */
std::string rate(double perSecond);
/** "99.1 %" of a whole; "-" of nothing. */
std::string percentage(double part, double whole);
/** A local date and time to the second: "2026-11-22 14:05:09"; "-" for 0. */
std::string date(double secondsSince1970);

} // namespace Units

#endif
