#pragma once

#include "BitLength.h"
#include "BitWriter.h"

#include <QtGlobal>

#include <array>

namespace kyv::compressor::internal {

/// Residuals that may wait to be written as width groups.
inline constexpr int maxPendingResiduals = 256;

/// Members that a width group holds at most.
inline constexpr unsigned maxGroupMembers = 16;

/// Neighbouring residuals that are written with the same width.
struct WidthGroup
{
    quint8 memberCount; // 1 to maxGroupMembers
    quint8 width;       // of each member, 1 to 64

    bool operator==(const WidthGroup &) const = default;
};

/// The widths of a list of residuals, 1 to 64 each; with room for reading in steps of 64 from any
/// of them on.
using ResidualWidths = std::array<quint8, maxPendingResiduals + 64>;

/// Groups the first \a residualCount (1 to maxPendingResiduals) of \a widths as the format
/// requires. Writes the groups in their order and returns how many there are.
int mergeWidthGroups(const ResidualWidths &widths, int residualCount, WidthGroup *groups) noexcept;

/// Writes \a residualCount residuals (1 to maxPendingResiduals) as width groups. Takes and returns
/// the writer by value, so that the caller's stays in registers.
BitWriter writeWidthGroups(BitWriter writer, const quint64 *residuals, int residualCount) noexcept;

/// Writes a list of one residual, as most lists of a centroid spectrum are.
inline void writeSingleResidual(BitWriter &writer, quint64 residual) noexcept
{
    const unsigned width = bitLength(residual);
    if (Q_LIKELY(width <= 54))
        return writer.write(width << 4 | residual << 10, 10 + width);
    writer.write(width << 4, 10);
    writer.write(residual, width);
}

namespace detail {

/// The merging as the format document words it, pass by pass.
int mergeWidthGroupsPlain(const ResidualWidths &widths, int residualCount,
                          WidthGroup *groups) noexcept;

} // namespace detail

} // namespace kyv::compressor::internal
