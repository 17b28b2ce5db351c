#pragma once

#include "IntensityKernels.h"
#include "IntensityQuantizer.h"

#include <QtGlobal>

#include <cstddef>
#include <vector>

namespace kyv::compressor::internal {

/// Turns the levels of one list into intensities, run by run, and remembers what it has computed.
///
/// The memory it takes is bounded by the levels that occur, never by what the parameters announce
/// (the scale of a damaged record may reach to 2^31).
class LevelMemo
{
public:
    explicit LevelMemo(const IntensityQuantizer &quantizer,
                       const IntensityKernels &kernels = intensityKernels());

    /// The intensity of each of \a count levels.
    void restore(const quint32 *levels, std::size_t count, float *intensities);

private:
    /// Levels from here on are computed one by one: 32 KiB of floats.
    static constexpr std::size_t largestTable = 8192;

    bool reachTo(quint32 level);
    void restoreLazily(const quint32 *levels, std::size_t count, float *intensities);

    const IntensityQuantizer &m_quantizer;
    const IntensityKernels &m_kernels;
    std::size_t m_seen = 0;     ///< levels restored so far
    std::vector<float> m_table; ///< the intensities of the levels from 0 on
};

} // namespace kyv::compressor::internal
