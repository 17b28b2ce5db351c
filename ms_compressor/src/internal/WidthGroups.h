#pragma once

#include "BitWriter.h"

#include <QtGlobal>

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

/// Groups residuals of the given \a widths (1 to 64 each, 1 to maxPendingResiduals of them) as the
/// format requires. Writes the groups in their order and returns how many there are.
int mergeWidthGroups(const quint8 *widths, int residualCount, WidthGroup *groups) noexcept;

/// Writes \a residualCount residuals (0 to maxPendingResiduals) as width groups.
void writeWidthGroups(BitWriter &writer, const quint64 *residuals, int residualCount) noexcept;

namespace detail {

/// The merging as the format document words it, pass by pass.
int mergeWidthGroupsPlain(const quint8 *widths, int residualCount, WidthGroup *groups) noexcept;

} // namespace detail

} // namespace kyv::compressor::internal
