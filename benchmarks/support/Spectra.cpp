#include "Spectra.h"

#include "mzml/Run.h"
#include "simulate/Simulator.h"

#include <QDir>

#include <algorithm>

namespace kyv::bench {

namespace {

constexpr qsizetype longSpectrum = 2000;
constexpr qsizetype shortMin = 100;
constexpr qsizetype shortMax = 500;
constexpr qsizetype cutLength = 300;

/// A measured run and which of its spectra count as its long ones.
struct RunFile
{
    const char *name;
    const char *file;
    bool isProfile;
};

constexpr RunFile runFiles[] = {
    {"maldi_fiedler", "maldi_fiedler2009_16.mzML.gz", true},
    {"maldi_hpc", "maldi_hpc_reflectron.mzML.gz", true},
    {"ltqft", "ltqft_small.mzML.gz", true},
    {"qe_profile", "qe_profile_FeatureFinderMultiplex_10_input.mzML.gz", true},
    {"tof_raw", "tof_raw_Tutorial_TOFCalibration.mzML.gz", true},
    {"orbixl", "orbixl_BSA1.mzML.gz", false},
    {"qe_dia", "qe_dia_BCS_hela_narrow_3_2.mzML.gz", false},
    {"qe_window", "qe_window_29_qc_milliq_subset.mzML.gz", true},
    {"waters", "waters_MassLynxTest.mzML.gz", true},
    {"swath", "swath_ChromatogramExtractor_input.mzML.gz", true},
    {"timstof", "timstof_diaPASEF.mzML.gz", false},
};

using Lists = std::vector<QList<QPointF>>;

void addIfAny(std::vector<Workload> &workloads, const QString &name, Lists lists)
{
    if (!lists.empty())
        workloads.push_back({name, std::move(lists)});
}

Lists select(const QList<runs::Spectrum> &spectra, qsizetype minPoints, qsizetype maxPoints)
{
    Lists lists;
    for (const runs::Spectrum &spectrum : spectra) {
        if (spectrum.points.size() >= minPoints && spectrum.points.size() <= maxPoints)
            lists.push_back(spectrum.points);
    }
    return lists;
}

Lists cut(const Lists &lists)
{
    Lists pieces;
    for (const QList<QPointF> &list : lists) {
        for (qsizetype i = 0; i + cutLength <= list.size(); i += cutLength)
            pieces.push_back(list.mid(i, cutLength));
    }
    return pieces;
}

void addRun(std::vector<Workload> &workloads, const QString &name,
            const QList<runs::Spectrum> &spectra, bool isProfile)
{
    const Lists all =
        select(spectra, isProfile ? longSpectrum : 1, spectra.isEmpty() ? 0 : 1 << 30);
    addIfAny(workloads, name, all);
    addIfAny(workloads, name + QStringLiteral(" short"), select(spectra, shortMin, shortMax));
    if (isProfile)
        addIfAny(workloads, name + QStringLiteral(" cut"), cut(all));
}

void addSimulatedRun(std::vector<Workload> &workloads, const char *name, runs::SimulatedKind kind,
                     qsizetype spectra, bool isProfile)
{
    runs::SimulationSettings settings;
    settings.kind = kind;
    settings.spectra = spectra;
    addRun(workloads, QStringLiteral("simulated ") + QLatin1String(name), simulateRun(settings),
           isProfile);
}

} // namespace

qsizetype Workload::points() const
{
    qsizetype sum = 0;
    for (const QList<QPointF> &list : spectra)
        sum += list.size();
    return sum;
}

std::vector<Workload> pointWorkloads()
{
    std::vector<Workload> workloads;
    const QString folder = qEnvironmentVariable("KYV_DATA_DIR");
    if (folder.isEmpty() || !QDir(folder).exists()) {
        addSimulatedRun(workloads, "tof", runs::SimulatedKind::Tof, 8, true);
        addSimulatedRun(workloads, "counting", runs::SimulatedKind::Counting, 8, true);
        addSimulatedRun(workloads, "orbitrap", runs::SimulatedKind::Orbitrap, 8, true);
        addSimulatedRun(workloads, "centroid", runs::SimulatedKind::Centroid, 400, false);
        return workloads;
    }
    for (const RunFile &run : runFiles) {
        const QString path = QDir(folder).filePath(QLatin1String(run.file));
        addRun(workloads, QLatin1String(run.name), runs::loadRun(path).spectra, run.isProfile);
    }
    return workloads;
}

} // namespace kyv::bench
