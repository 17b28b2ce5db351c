#pragma once

#include <QString>

namespace kyv::compressor::pointsMethodNames {

extern const QString interleavedDoubleDouble;
extern const QString planarDoubleFloat;
extern const QString planarDoubleFloatBitCompressedV1;

/// The name of a layout that no operation writes or reads; reserved, so that nothing else takes it.
extern const QString planarDoubleFloatZipCompressedV1;

} // namespace kyv::compressor::pointsMethodNames
