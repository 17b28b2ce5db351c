// The coding loops with states scanned by AVX2, alone with the compiler flags for it.
//
// Everything that is compiled here is a template over Avx2Scan or always inlined, so no
// function with these instructions can take the place of a portable one.

#include "internal/PpmdDecoding.h"
#include "internal/PpmdEncoding.h"
#include "internal/PpmdPaths.h"
#include "internal/StateScanAvx2.h"

namespace kyv::compressor::internal::ppmd {

const PathTable avx2Path = {run<PpmdEncoding<Avx2Scan>>, run<PpmdDecoding<Avx2Scan>>,
                            ScanTable::of<Avx2Scan>()};

} // namespace kyv::compressor::internal::ppmd
