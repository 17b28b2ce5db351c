// The coding loops with states scanned by AVX-512, alone with the compiler flags for it.
//
// Everything that is compiled here is a template over Avx512Scan or always inlined, so no
// function with these instructions can take the place of a portable one.

#include "internal/PpmdDecoding.h"
#include "internal/PpmdEncoding.h"
#include "internal/PpmdPaths.h"
#include "internal/StateScanAvx512.h"

namespace kyv::compressor::internal::ppmd {

const PathTable avx512Path = {run<PpmdEncoding<Avx512Scan>>, run<PpmdDecoding<Avx512Scan>>,
                              ScanTable::of<Avx512Scan>()};

} // namespace kyv::compressor::internal::ppmd
