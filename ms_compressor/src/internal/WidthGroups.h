#pragma once

#include "BitWriter.h"

#include <QtGlobal>

#include <array>

namespace kyv::compressor::internal {

/// Residuals that may wait to be written as width groups.
inline constexpr int maxPendingResiduals = 256;

/// Members that a width group holds at most.
inline constexpr int maxGroupMembers = 16;

/// Neighbouring residuals in groups that share a width.
///
/// A group is known by the position of its first residual; the next group begins at that position
/// plus the member count. At the other positions the member count is 0.
struct WidthGroups
{
    std::array<quint8, maxPendingResiduals> memberCounts;
    std::array<quint8, maxPendingResiduals> widths;
};

/// Merges groups of one member each, of the widths given in \a groups, as the format requires.
/// \a residualCount is 1 to maxPendingResiduals.
void mergeWidthGroups(WidthGroups &groups, int residualCount) noexcept;

/// Writes \a residualCount residuals (0 to maxPendingResiduals) as width groups.
void writeWidthGroups(BitWriter &writer, const quint64 *residuals, int residualCount) noexcept;

namespace detail {

/// The merging as the format document words it, pass by pass.
void mergeWidthGroupsPlain(WidthGroups &groups, int residualCount) noexcept;

} // namespace detail

} // namespace kyv::compressor::internal
