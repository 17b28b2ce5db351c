#pragma once

#include "../mzml/Run.h"

#include <vector>

namespace kyv::runs {

class Random;

/// Kinds of spectra that a simulated run is made of.
enum class SimulatedKind {
    Mixed,    ///< All of the following in turn; most of them centroid MS2.
    Tof,      ///< Linear time-of-flight profile: a quadratic axis, whole counts, noise everywhere.
    Counting, ///< Reflectron time-of-flight profile that counts ions: most samples are zero.
    Orbitrap, ///< Fourier-transform profile: islands of signal with four zeros on either side.
    Centroid, ///< Centroid MS2: 20 to 1,500 peaks, half of the spectra with 32-bit m/z.
};

/// What to simulate. The same settings give the same spectra, bit for bit, on every platform
/// whose doubles are IEEE 754 without excess precision.
struct SimulationSettings
{
    SimulatedKind kind = SimulatedKind::Mixed;
    qsizetype spectra = 60;
    quint64 seed = 1;
};

/// Makes realistic spectra out of a seed: a mixture of peptides that elute one after the other,
/// with charge states and isotopes, seen by different instruments.
class Simulator
{
public:
    explicit Simulator(const SimulationSettings &settings);

    qsizetype count() const { return m_settings.spectra; }

    /// Spectrum \a index of the run; independent of which others are asked for.
    Spectrum spectrum(qsizetype index) const;

private:
    struct Species
    {
        double mass = 0;      // neutral, Da
        int charge = 1;       // of its strongest ion
        double apex = 0;      // elution, 0 to 1 of the run
        double width = 0;     // of the elution, in the same unit
        double abundance = 0; // at the apex
    };
    struct Peak
    {
        double mz = 0;
        double height = 0;
    };

    SimulatedKind kindOf(qsizetype index) const;
    std::vector<Peak> peaks(double time, bool singlyCharged) const;
    QList<QPointF> tof(double time, Random *random) const;
    QList<QPointF> counting(double time, Random *random) const;
    QList<QPointF> orbitrap(double time, Random *random) const;
    QList<QPointF> centroid(Random *random) const;

    SimulationSettings m_settings;
    std::vector<Species> m_species;
};

/// A whole simulated run in memory, for tests and benchmarks.
QList<Spectrum> simulateRun(const SimulationSettings &settings);

} // namespace kyv::runs
