// The coding loops with states scanned by SSE4.1, alone with the compiler flags for it.
//
// Everything that is compiled here is a template over Sse41Scan or always inlined, so no
// function with these instructions can take the place of a portable one.

#include "internal/PpmdDecoding.h"
#include "internal/PpmdEncoding.h"
#include "internal/PpmdPaths.h"
#include "internal/StateScanSse41.h"

namespace kyv::compressor::internal::ppmd {

const PathTable sse41Path = {run<PpmdEncoding<Sse41Scan>>, run<PpmdDecoding<Sse41Scan>>,
                             ScanTable::of<Sse41Scan>()};

} // namespace kyv::compressor::internal::ppmd
