// Speed of packed intensities, beside memcpy, a copy inside L2 and zstd -3 on the same floats.
//
// Every round measures the baseline and then the subject, and the tables hold medians over the
// rounds of the two speeds' quotient. Times are the thread's own processor time, so that other
// work on the machine disturbs little. Bytes are the floats' own, 4 each, whatever packing makes
// of them. A list is a spectrum's intensities: "long" rows are spectra of 20,000 points and more,
// "short" rows those of 100 to 500.

#include "internal/IntensityKernels.h"
#include "internal/IntensityQuantizer.h"
#include "internal/SingleCount.h"
#include "support/Measuring.h"

#include "mzml/Run.h"
#include "simulate/Simulator.h"

#include <ms_compressor/MsDataPacker.h>

#include <QDir>

#include <zstd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

using namespace kyv::compressor;
using namespace kyv::compressor::internal;
using kyv::bench::keep;
using kyv::bench::Measured;
using kyv::bench::memcpySubject;
using kyv::bench::Subject;

namespace {

constexpr int rounds = 11;
constexpr qsizetype longList = 20000;
constexpr qsizetype shortMin = 100;
constexpr qsizetype shortMax = 500;

Measured measure(const Subject &baseline, const Subject &subject)
{
    return kyv::bench::measure(baseline, subject, rounds);
}

/// A copy of 256 KiB, again and again.
Subject l2CopySubject()
{
    constexpr std::size_t size = 256 * 1024;
    constexpr int repetitions = 64;
    static const std::vector<char> source(size, 1);
    static std::vector<char> target(size, 2);
    return {double(size) * repetitions, [] {
                for (int i = 0; i < repetitions; ++i) {
                    std::memcpy(target.data(), source.data(), size);
                    keep(target.data());
                }
            }};
}

// ---- lists ---------------------------------------------------------------------------------

using Lists = std::vector<QList<float>>;

/// The lists of a run that are long, or short.
struct Workload
{
    std::string name;
    Lists lists;

    double values() const
    {
        double sum = 0;
        for (const QList<float> &list : lists)
            sum += double(list.size());
        return sum;
    }
};

void addWorkloads(std::vector<Workload> &workloads, const std::string &name,
                  const QList<kyv::runs::Spectrum> &spectra)
{
    Workload longs{name, {}};
    Workload shorts{name + " short", {}};
    for (const kyv::runs::Spectrum &spectrum : spectra) {
        QList<float> list;
        for (const QPointF &point : spectrum.points)
            list.append(float(point.y()));
        if (list.size() >= longList)
            longs.lists.push_back(list);
        else if (list.size() >= shortMin && list.size() <= shortMax)
            shorts.lists.push_back(list);
    }
    for (Workload *workload : {&longs, &shorts}) {
        if (!workload->lists.empty())
            workloads.push_back(*workload);
    }
}

void addSimulated(std::vector<Workload> &workloads, const char *name, kyv::runs::SimulatedKind kind)
{
    kyv::runs::SimulationSettings settings;
    settings.kind = kind;
    settings.spectra = 40;
    addWorkloads(workloads, name, kyv::runs::simulateRun(settings));
}

std::vector<Workload> workloads()
{
    std::vector<Workload> result;
    const QString folder = qEnvironmentVariable("KYV_DATA_DIR");
    if (folder.isEmpty() || !QDir(folder).exists()) {
        addSimulated(result, "simulated tof", kyv::runs::SimulatedKind::Tof);
        addSimulated(result, "simulated orbitrap", kyv::runs::SimulatedKind::Orbitrap);
        addSimulated(result, "simulated centroid", kyv::runs::SimulatedKind::Centroid);
        return result;
    }
    for (const char *name :
         {"maldi_fiedler2009_16", "maldi_hpc_reflectron", "ltqft_small",
          "qe_profile_FeatureFinderMultiplex_10_input", "tof_raw_Tutorial_TOFCalibration",
          "timstof_diaPASEF", "orbixl_BSA1", "qe_dia_BCS_hela_narrow_3_2", "waters_MassLynxTest"}) {
        const QString file = QString::fromLatin1(name) + QStringLiteral(".mzML.gz");
        addWorkloads(result, std::string(name).substr(0, 12),
                     kyv::runs::loadRun(QDir(folder).filePath(file)).spectra);
    }
    return result;
}

// ---- packed lists --------------------------------------------------------------------------

/// A workload's lists, their parameters, and what they pack to.
struct Prepared
{
    Workload workload;
    std::vector<PackParameters> parameters;
    std::vector<QByteArray> packed;
    double packedBytes = 0;

    Prepared(const Workload &lists, PackMethod method)
        : workload(lists)
    {
        for (const QList<float> &list : workload.lists) {
            parameters.push_back(PackParameters::create(list, method));
            QByteArray bytes;
            MsDataPacker::pack(&bytes, list, parameters.back());
            packedBytes += double(bytes.size());
            packed.push_back(bytes);
        }
    }

    /// Work on every list, repeated so often that 2 million values are gone through.
    template <typename Work>
    Subject subject(Work work) const
    {
        const int repetitions = std::max(1, int(2e6 / workload.values()));
        return {4 * workload.values() * repetitions, [this, work, repetitions] {
                    for (int i = 0; i < repetitions; ++i) {
                        for (std::size_t list = 0; list < workload.lists.size(); ++list)
                            work(list);
                    }
                }};
    }
};

void printRow(const Workload &workload, const char *codec, double bytes, const Measured &pack,
              const Measured &unpack, double unpackInL2)
{
    std::printf("| %-18s | %5zu | %8.0f | %-9s | %5.2f | %6.2f | %5.2f | %6.2f | %5.2f | %5.2f |\n",
                workload.name.c_str(), workload.lists.size(), workload.values(), codec,
                bytes / workload.values(), pack.nanosecondsPerValue, pack.fraction,
                unpack.nanosecondsPerValue, unpack.fraction, unpackInL2);
    std::fflush(stdout);
}

void measureLibrary(const Workload &workload, PackMethod method, const char *codec)
{
    const Prepared prepared(workload, method);
    const Subject pack = prepared.subject([&](std::size_t list) {
        QByteArray bytes;
        MsDataPacker::pack(&bytes, prepared.workload.lists[list], prepared.parameters[list]);
        keep(bytes.constData());
    });
    QList<float> restored;
    const Subject unpack = prepared.subject([&](std::size_t list) {
        MsDataPacker::unpack(&restored, prepared.packed[list]);
        keep(restored.constData());
    });
    printRow(workload, codec, prepared.packedBytes, measure(memcpySubject(), pack),
             measure(memcpySubject(), unpack), measure(l2CopySubject(), unpack).fraction);
}

void measureZstd(const Workload &workload)
{
    ZSTD_CCtx *compressor = ZSTD_createCCtx();
    ZSTD_DCtx *decompressor = ZSTD_createDCtx();
    Prepared prepared(workload, PackMethod::RawData);
    prepared.packedBytes = 0;
    QByteArray buffer;
    const auto compress = [&](std::size_t i) {
        const QList<float> &list = prepared.workload.lists[i];
        buffer.resize(qsizetype(ZSTD_compressBound(std::size_t(list.size()) * 4)));
        return ZSTD_compressCCtx(compressor, buffer.data(), std::size_t(buffer.size()),
                                 list.constData(), std::size_t(list.size()) * 4, 3);
    };
    for (std::size_t i = 0; i < prepared.packed.size(); ++i) {
        const std::size_t size = compress(i);
        prepared.packed[i] = buffer.left(qsizetype(size));
        prepared.packedBytes += double(size);
    }
    QList<float> restored;
    const Subject pack = prepared.subject([&](std::size_t list) { compress(list); });
    const Subject unpack = prepared.subject([&](std::size_t i) {
        restored.resize(prepared.workload.lists[i].size());
        ZSTD_decompressDCtx(decompressor, restored.data(), std::size_t(restored.size()) * 4,
                            prepared.packed[i].constData(), std::size_t(prepared.packed[i].size()));
        keep(restored.constData());
    });
    printRow(workload, "zstd -3", prepared.packedBytes, measure(memcpySubject(), pack),
             measure(memcpySubject(), unpack), measure(l2CopySubject(), unpack).fraction);
    ZSTD_freeDCtx(decompressor);
    ZSTD_freeCCtx(compressor);
}

// ---- parameters and levels -----------------------------------------------------------------

/// The single count as the rule says it, by sorting: what estimateSingleCount() is compared with.
float singleCountBySorting(const QList<float> &list)
{
    std::vector<float> differences;
    for (qsizetype i = 1; i < list.size(); ++i) {
        const float difference = std::fabs(list[i] - list[i - 1]);
        if (difference > 0.5F)
            differences.push_back(difference);
    }
    std::sort(differences.begin(), differences.end());
    const auto threshold = float(differences.size() / 50);
    float base = 0;
    float sum = 0;
    float count = 0;
    for (const float difference : differences) {
        if (2 * double(base) > double(difference)) {
            ++count;
            continue;
        }
        sum += count;
        if (base > 0 && sum >= threshold)
            return base;
        base = difference;
        count = 1;
    }
    return base > 0 && sum + count >= threshold ? base : 0;
}

/// Runs joined to one list of at least 100,000 intensities.
QList<float> joined(const Workload &workload)
{
    QList<float> all;
    while (all.size() < 100000) {
        for (const QList<float> &list : workload.lists)
            all += list;
    }
    return all;
}

void printSingleCount(const Workload &workload)
{
    const QList<float> list = joined(workload);
    const double bytes = 4 * double(list.size());
    float bySorting = 0;
    float byPasses = 0;
    const Subject sorting{bytes, [&] { bySorting = singleCountBySorting(list); }};
    const Subject passes{
        bytes, [&] { byPasses = estimateSingleCount(list.constData(), std::size_t(list.size())); }};
    const Measured measured = measure(sorting, passes);
    std::printf("| %-18s | %8lld | %6.3f | %6.1f | %s |\n", workload.name.c_str(),
                static_cast<long long>(list.size()), measured.nanosecondsPerValue,
                measured.fraction, bySorting == byPasses ? "yes" : "NO");
    std::fflush(stdout);
}

void printQuantizing(const Workload &workload)
{
    const QList<float> list = joined(workload);
    const auto count = std::size_t(list.size());
    const IntensityQuantizer quantizer(PackParameters::create(list, PackMethod::Quantizing));
    std::vector<quint32> levels(count);
    std::vector<float> restored(count);
    const auto quantizing = [&](const IntensityKernels *kernels) {
        return Subject{4 * double(count), [&, kernels] {
                           kernels->quantize(quantizer, list.constData(), count, levels.data());
                       }};
    };
    const auto restoring = [&](const IntensityKernels *kernels) {
        return Subject{4 * double(count), [&, kernels] {
                           kernels->dequantize(quantizer, levels.data(), count, restored.data());
                       }};
    };
    for (const IntensityKernels *kernels : availableIntensityKernels()) {
        const Measured quantize = measure(quantizing(&plainIntensityKernels), quantizing(kernels));
        const Measured restore = measure(restoring(&plainIntensityKernels), restoring(kernels));
        std::printf("| %-18s | %-6s | %6.2f | %5.1f | %6.2f | %5.1f |\n", workload.name.c_str(),
                    kernels->name, quantize.nanosecondsPerValue, quantize.fraction,
                    restore.nanosecondsPerValue, restore.fraction);
    }
    std::fflush(stdout);
}

} // namespace

int main()
{
    const std::vector<Workload> all = workloads();
    std::printf("memcpy between two buffers of 16 MiB: %.1f GB/s; copy of 256 KiB: %.1f GB/s.\n\n",
                4 / measure(memcpySubject(), memcpySubject()).nanosecondsPerValue,
                4 / measure(memcpySubject(), l2CopySubject()).nanosecondsPerValue);
    std::printf("Packed lists; pack with given parameters, unpack from record to floats:\n\n"
                "| lists | count | values | codec | bytes/value | pack ns/value | of memcpy "
                "| unpack ns/value | of memcpy | of L2 copy |\n"
                "|---|---:|---:|---|---:|---:|---:|---:|---:|---:|\n");
    for (const Workload &workload : all) {
        measureLibrary(workload, PackMethod::Quantizing, "quantized");
        measureLibrary(workload, PackMethod::RawData, "raw");
        measureZstd(workload);
    }
    std::printf("\nSingle count of a run's lists joined, beside sorting all differences:\n\n"
                "| lists | values | ns/value | times sorting | same |\n|---|---:|---:|---:|---|\n");
    for (const Workload &workload : all)
        printSingleCount(workload);
    std::printf(
        "\nLevels of a run's lists joined, beside the plain loop with one pow a value:\n\n"
        "| lists | loops | quantize ns/value | times plain | restore ns/value | times plain |\n"
        "|---|---|---:|---:|---:|---:|\n");
    for (const Workload &workload : all)
        printQuantizing(workload);
    return 0;
}
