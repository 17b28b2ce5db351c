#pragma once

#include "BitReader.h"
#include "BitWriter.h"

#include <QPointF>
#include <QtGlobal>

namespace kyv::compressor::internal {

/// Floats that a block holds at most, and zeros that one item of a run stands for at most.
inline constexpr int maxBlockFloats = 16;
inline constexpr int maxRunItem = 8;

/// Writes the y of \a count points at \a points: zero runs and blocks of floats that share leading
/// and trailing bits. Takes and returns the writer by value, so that it stays in registers.
BitWriter writeFloatBlocks(BitWriter writer, const QPointF *points, qsizetype count) noexcept;

/// Reads the y of \a count points, from \a bitPosition on, into \a points, whose x it leaves alone.
///
/// Returns false if the items contradict themselves or the \a byteCount bytes at \a bytes run out;
/// the points are then not to be used.
bool readFloatBlocks(const uchar *bytes, quint64 byteCount, quint64 bitPosition, QPointF *points,
                     qsizetype count) noexcept;

namespace detail {

/// The same, field by field as the format document words it.
bool readFloatBlocksPlain(BitReader reader, QPointF *points, qsizetype count) noexcept;

} // namespace detail

} // namespace kyv::compressor::internal
