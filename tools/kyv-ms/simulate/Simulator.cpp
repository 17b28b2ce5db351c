// Simulated spectra. Every instrument below differs in what matters to a codec: how its m/z axis
// advances, which mantissa bits its values use, and how its zeros are spread.

#include "Simulator.h"

#include "Random.h"

#include <algorithm>
#include <cmath>

namespace kyv::runs {

namespace {

constexpr double proton = 1.00727646688;
constexpr double isotopeStep = 1.0033548378;
constexpr double averagine = 0.000594; // heavy isotopes expected per dalton of peptide
constexpr qsizetype speciesCount = 400;

double square(double value)
{
    return value * value;
}

/// A bell of height 1 and deviation 1.
double bell(double distance)
{
    return portableExp(-0.5 * square(distance));
}

/// Adds a bell of \a height around \a center to \a samples; all in units of samples.
void addBell(std::vector<double> *samples, double center, double deviation, double height)
{
    constexpr double reach = 5;
    const double last = double(samples->size()) - 1;
    const double from = std::max(0.0, std::ceil(center - reach * deviation));
    const double to = std::min(last, std::floor(center + reach * deviation));
    for (double i = from; i <= to; ++i)
        (*samples)[std::size_t(i)] += height * bell((i - center) / deviation);
}

double asFloat(double value)
{
    return double(float(value));
}

} // namespace

Simulator::Simulator(const SimulationSettings &settings)
    : m_settings(settings)
{
    Random random(mixSeed(settings.seed, 0));
    m_species.resize(speciesCount);
    for (Species &species : m_species) {
        species.mass = random.uniform(700, 4000);
        species.charge = species.mass < 1400 ? 2 : 2 + int(random.index(2));
        species.apex = random.uniform();
        species.width = random.uniform(0.02, 0.15);
        species.abundance = random.logUniform(1e-4, 4);
    }
}

SimulatedKind Simulator::kindOf(qsizetype index) const
{
    if (m_settings.kind != SimulatedKind::Mixed)
        return m_settings.kind;
    switch (index % 12) {
    case 0:
        return SimulatedKind::Orbitrap;
    case 4:
        return SimulatedKind::Tof;
    case 8:
        return SimulatedKind::Counting;
    default:
        return SimulatedKind::Centroid;
    }
}

Spectrum Simulator::spectrum(qsizetype index) const
{
    Random random(mixSeed(m_settings.seed, quint64(index) + 1));
    const double time = double(index) / double(std::max<qsizetype>(m_settings.spectra, 1));
    Spectrum spectrum;
    spectrum.index = index;
    spectrum.id = QStringLiteral("controllerType=0 controllerNumber=1 scan=%1").arg(index + 1);
    spectrum.msLevel = 1;
    spectrum.shape = SpectrumShape::Profile;
    spectrum.x = {NumberType::Float64, ArrayCompression::None};
    spectrum.y = {NumberType::Float32, ArrayCompression::None};
    switch (kindOf(index)) {
    case SimulatedKind::Tof:
        spectrum.points = tof(time, &random);
        break;
    case SimulatedKind::Counting:
        spectrum.points = counting(time, &random);
        break;
    case SimulatedKind::Orbitrap:
        spectrum.points = orbitrap(time, &random);
        break;
    case SimulatedKind::Centroid:
    case SimulatedKind::Mixed: // kindOf() never answers Mixed
        spectrum.msLevel = 2;
        spectrum.shape = SpectrumShape::Centroid;
        spectrum.points = centroid(&random);
        break;
    }
    return spectrum;
}

/// The isotope peaks of everything that elutes at \a time, heights between 0 and about 1.
std::vector<Simulator::Peak> Simulator::peaks(double time, bool singlyCharged) const
{
    std::vector<Peak> peaks;
    for (const Species &species : m_species) {
        const double eluting = species.abundance * bell((time - species.apex) / species.width);
        if (eluting < 1e-5)
            continue;
        const double charge = singlyCharged ? 1 : species.charge;
        const double heavy = species.mass * averagine; // mean of a Poisson distribution
        double share = portableExp(-heavy);
        for (int isotope = 0; isotope < 8; ++isotope) {
            peaks.push_back(
                {(species.mass + isotope * isotopeStep) / charge + proton, eluting * share});
            share *= heavy / (isotope + 1);
        }
    }
    return peaks;
}

/// Samples at equal times; m/z grows with the square of the time, counts never reach zero.
QList<QPointF> Simulator::tof(double time, Random *random) const
{
    constexpr qsizetype count = 24000;
    const double start = 26.4 + 0.001 * random->normal(); // square root of the first m/z
    constexpr double step = 0.0016;
    std::vector<double> samples(count, 0.0);
    for (const Peak &peak : peaks(time, true))
        addBell(&samples, (std::sqrt(peak.mz) - start) / step, 5.0, 60000 * peak.height);

    QList<QPointF> points(count);
    for (qsizetype i = 0; i < count; ++i) {
        const double baseline = 400 + 6000 * portableExp(-double(i) / 4000);
        const double expected = baseline + samples[std::size_t(i)];
        const double counted = expected + std::sqrt(expected) * random->normal();
        points[i] = QPointF(square(start + step * double(i)), std::floor(std::max(counted, 1.0)));
    }
    return points;
}

/// The same axis seen by an ion counter: few ions, so most samples are exactly zero.
QList<QPointF> Simulator::counting(double time, Random *random) const
{
    constexpr qsizetype count = 60000;
    const double start = 26.4 + 0.001 * random->normal();
    constexpr double step = 0.00064;
    std::vector<double> samples(count, 0.0);
    for (const Peak &peak : peaks(time, true))
        addBell(&samples, (std::sqrt(peak.mz) - start) / step, 2.5, 4000 * peak.height);

    QList<QPointF> points(count);
    for (qsizetype i = 0; i < count; ++i) {
        const double expected = 0.02 + samples[std::size_t(i)];
        double ions = 0;
        if (expected > 12) // enough ions for the bell to stand for Poisson's distribution
            ions = std::floor(expected + std::sqrt(expected) * random->normal() + 0.5);
        else
            for (double left = random->uniform(), term = portableExp(-expected); left >= term;
                 term *= expected / ++ions)
                left -= term;
        points[i] = QPointF(square(start + step * double(i)), std::max(ions, 0.0));
    }
    return points;
}

/// Samples at equal steps of 1/sqrt(m/z), the axis of an oscillation's frequency. Only islands
/// around signal are kept, each framed by zeros.
QList<QPointF> Simulator::orbitrap(double time, Random *random) const
{
    constexpr double first = 0.0577;  // 1/sqrt(m/z) at m/z 300
    constexpr double last = 0.0224;   // at m/z 1993
    constexpr double step = 1.1e-7;   // a quarter of the width at half height
    constexpr double deviation = 1.6; // in steps: resolution 60,000 at m/z 400
    constexpr double noiseLevel = 4000;
    constexpr qsizetype frame = 4;
    const double drift = 1 + 1e-6 * random->normal(); // calibration, one part in a million

    std::vector<double> samples(std::size_t((first - last) / step), 0.0);
    for (const Peak &peak : peaks(time, false))
        addBell(&samples, (first - 1 / std::sqrt(peak.mz)) / step, deviation, 3e8 * peak.height);
    for (int noise = 0; noise < 400; ++noise) {
        // One number a statement: the order of arguments is the compiler's choice.
        const double center = random->uniform() * double(samples.size());
        addBell(&samples, center, deviation, random->logUniform(noiseLevel, 1));
    }

    QList<QPointF> points;
    qsizetype zerosFrom = 0; // samples before this one are written already
    const auto append = [&](qsizetype i, double y) {
        points.append(QPointF(drift / square(first - step * double(i)), y));
    };
    const qsizetype count = qsizetype(samples.size());
    for (qsizetype i = 0; i < count; ++i) {
        if (samples[std::size_t(i)] < noiseLevel / 2)
            continue;
        const bool begins = i == 0 || samples[std::size_t(i - 1)] < noiseLevel / 2;
        if (begins)
            for (qsizetype zero = std::max(zerosFrom, i - frame); zero < i; ++zero)
                append(zero, 0);
        append(i, asFloat(samples[std::size_t(i)] * (1 + 0.03 * random->normal())));
        zerosFrom = i + 1;
        const bool ends = i + 1 == count || samples[std::size_t(i + 1)] < noiseLevel / 2;
        if (ends)
            while (zerosFrom < std::min(count, i + 1 + frame)
                   && samples[std::size_t(zerosFrom)] < noiseLevel / 2)
                append(zerosFrom++, 0);
    }
    return points;
}

QList<QPointF> Simulator::centroid(Random *random) const
{
    const qsizetype count = qsizetype(random->logUniform(20, 1.875));
    const bool narrow = random->bits() & 1; // ion traps deliver 32-bit m/z
    std::vector<double> mz(std::size_t(count), 0.0);
    for (double &value : mz)
        value = random->uniform(100, 1600);
    std::sort(mz.begin(), mz.end());
    // Narrowed apart from the intensities: gcc 12 at -O3 takes one decision for both coordinates
    // of a point where only one is conditional.
    if (narrow)
        std::transform(mz.begin(), mz.end(), mz.begin(), asFloat);
    QList<QPointF> points(count);
    for (qsizetype i = 0; i < count; ++i)
        points[i] = QPointF(mz[std::size_t(i)], asFloat(random->logUniform(20, 3.5)));
    return points;
}

QList<Spectrum> simulateRun(const SimulationSettings &settings)
{
    const Simulator simulator(settings);
    QList<Spectrum> spectra;
    spectra.reserve(simulator.count());
    for (qsizetype i = 0; i < simulator.count(); ++i)
        spectra.append(simulator.spectrum(i));
    return spectra;
}

} // namespace kyv::runs
