// The coding loops with states scanned by AVX-512, alone with the compiler flags for it.
//
// Everything that is compiled here is a template over Avx512Scan or always inlined, so no
// function with these instructions can take the place of a portable one.

#include "internal/PpmdPaths.h"

#ifdef KYV_HAS_AVX512

#include "internal/PpmdDecoding.h"
#include "internal/PpmdEncoding.h"
#include "internal/StateScanAvx512.h"

namespace kyv::compressor::internal::ppmd {

const Runs avx512Runs = {run<PpmdEncoding<Avx512Scan>>, run<PpmdDecoding<Avx512Scan>>};

} // namespace kyv::compressor::internal::ppmd

#else

namespace kyv::compressor::internal::ppmd {

const Runs avx512Runs = {};

} // namespace kyv::compressor::internal::ppmd

#endif
