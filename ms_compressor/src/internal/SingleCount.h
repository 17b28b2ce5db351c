#pragma once

#include <cstddef>

namespace kyv::compressor::internal {

/// The intensity of one count: the smallest step between neighbouring intensities that the data
/// show often enough, or 0 if no two neighbours differ by more than 0.5.
///
/// Linear in \a count, at most 129 passes over the data and mostly two to ten; allocates nothing.
float estimateSingleCount(const float *data, std::size_t count);

} // namespace kyv::compressor::internal
