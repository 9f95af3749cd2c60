#ifndef QUORVA_API_COMMONSHAPES_H
#define QUORVA_API_COMMONSHAPES_H

#include "api/shapes.h"

#include <array>

/** Shapes that the inputs of several operations have. */
namespace Api::Shapes {

inline constexpr std::string_view NamePattern = "[a-zA-Z0-9_.-]+";

inline constexpr bool Required = true;

inline constexpr Shape Text;
inline constexpr Shape Boolean{.kind = Shape::Kind::Boolean};
inline constexpr Shape PositiveInteger{.kind = Shape::Kind::Integer, .minimum = 1};
inline constexpr Shape PositiveLong{.kind = Shape::Kind::Long, .minimum = 1};

inline constexpr Shape TableName{.minimum = 3, .maximum = 255, .pattern = NamePattern, .isTableName = true};
inline constexpr Shape IndexName{.minimum = 3, .maximum = 255, .pattern = NamePattern};

} // namespace Api::Shapes

#endif
