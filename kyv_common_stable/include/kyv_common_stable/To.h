#pragma once

namespace kyv {

/// An empty tag, passed by value, that selects the target type of a conversion overload:
/// `interpretAs(bytes, To<QList<QPointF>>())`.
template <typename T>
struct To
{};

} // namespace kyv
