// The memo of dequantizing: a spectrum has many repeated levels, and pow is dear.
//
// Where only the plain loop runs, the table is filled level by level as they occur, so that pow
// runs once for each. A wider loop restores the levels of a whole scale in the time of a few pow
// calls: then the table is filled ahead up to the largest level of the run, once as many levels
// have been seen as it would hold; until then (short lists) levels are restored one by one.

#include "LevelMemo.h"

#include "BitsRequired.h"

#include <numeric>

namespace kyv::compressor::internal {

LevelMemo::LevelMemo(const IntensityQuantizer &quantizer, const IntensityKernels &kernels)
    : m_quantizer(quantizer)
    , m_kernels(kernels)
{}

void LevelMemo::restore(const quint32 *levels, std::size_t count, float *intensities)
{
    m_seen += count;
    if (&m_kernels == &plainIntensityKernels) {
        restoreLazily(levels, count, intensities);
    } else if (reachTo(largestOf(levels, count))) {
        const float *table = m_table.data();
        for (std::size_t i = 0; i < count; ++i)
            intensities[i] = table[levels[i]];
    } else {
        m_kernels.dequantize(m_quantizer, levels, count, intensities);
    }
}

/// Fills the table up to \a level if that pays; false if it does not.
bool LevelMemo::reachTo(quint32 level)
{
    const std::size_t first = m_table.size();
    if (level < first)
        return true;
    if (level >= largestTable || level >= m_seen)
        return false;
    m_table.resize(std::size_t(level) + 1);
    std::vector<quint32> levels(m_table.size() - first);
    std::iota(levels.begin(), levels.end(), quint32(first));
    m_kernels.dequantize(m_quantizer, levels.data(), levels.size(), m_table.data() + first);
    return true;
}

void LevelMemo::restoreLazily(const quint32 *levels, std::size_t count, float *intensities)
{
    for (std::size_t i = 0; i < count; ++i) {
        const quint32 level = levels[i];
        if (level >= largestTable) { // negative ones, too
            intensities[i] = m_quantizer.intensity(level);
            continue;
        }
        if (level >= m_table.size())
            m_table.resize(std::size_t(level) + 1, 0.0F);
        float &known = m_table[level]; // 0 means not computed yet
        if (known == 0.0F)
            known = m_quantizer.intensity(level);
        intensities[i] = known;
    }
}

} // namespace kyv::compressor::internal
