#ifndef QUORVA_API_REASONS_H
#define QUORVA_API_REASONS_H

#include <string_view>

/** Why something of the API is refused, for operations and for members of requests. */
namespace Api::Reasons {

inline constexpr std::string_view OneRegion = "there is one machine, and no other region to replicate to";
inline constexpr std::string_view NoStreams = "there are no streams of changes";
inline constexpr std::string_view NoVectors = "there are no vector indexes";
inline constexpr std::string_view NoPolicies = "every user who may connect may do everything, see --allow-users";

} // namespace Api::Reasons

#endif
