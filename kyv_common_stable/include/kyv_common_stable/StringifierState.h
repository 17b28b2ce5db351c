#pragma once

namespace kyv {

/// The state argument of the `stringify` overloads, passed by value.
///
/// It carries nothing yet: texts that need no state are written without looking at it.
class StringifierState
{};

} // namespace kyv
