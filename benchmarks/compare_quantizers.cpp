// Holds every set of loops of the quantizer against the plain one: on all intensities of the runs
// in KYV_DATA_DIR and on 100 million random values. Any difference is printed and fails the run.
// Its output is kept in docs/quantizer-exactness.md.
//
//     KYV_DATA_DIR=<folder> build/release/benchmarks/compare_quantizers [values in millions]

#include "internal/IntensityKernels.h"
#include "internal/IntensityQuantizer.h"

#include "mzml/Run.h"

#include <QDataStream>
#include <QDir>
#include <QIODevice>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

using namespace kyv::compressor;
using namespace kyv::compressor::internal;

namespace {

constexpr std::size_t listLength = 100000;

/// What comparing came to.
struct Tally
{
    quint64 values = 0;
    quint64 differentLevels = 0;
    quint64 differentIntensities = 0;
};

bool isSame(float a, float b)
{
    return std::bit_cast<quint32>(a) == std::bit_cast<quint32>(b)
           || (std::isnan(a) && std::isnan(b));
}

/// Quantizes \a data with every set, and restores the levels that the plain one gives.
void compare(const std::vector<float> &data, const PackParameters &parameters, Tally &tally)
{
    const IntensityQuantizer quantizer(parameters);
    std::vector<quint32> expected(data.size());
    std::vector<quint32> levels(data.size());
    std::vector<float> restored(data.size());
    std::vector<float> intensities(data.size());
    plainIntensityKernels.quantize(quantizer, data.data(), data.size(), expected.data());
    plainIntensityKernels.dequantize(quantizer, expected.data(), data.size(), restored.data());
    for (const IntensityKernels *kernels : availableIntensityKernels()) {
        kernels->quantize(quantizer, data.data(), data.size(), levels.data());
        kernels->dequantize(quantizer, expected.data(), data.size(), intensities.data());
        for (std::size_t i = 0; i < data.size(); ++i) {
            tally.differentLevels += quint64(levels[i] != expected[i]);
            tally.differentIntensities += quint64(!isSame(intensities[i], restored[i]));
        }
    }
    tally.values += data.size();
}

bool report(const std::string &name, const Tally &tally)
{
    std::printf("| %-44s | %11llu | %16llu | %21llu |\n", name.c_str(),
                static_cast<unsigned long long>(tally.values),
                static_cast<unsigned long long>(tally.differentLevels),
                static_cast<unsigned long long>(tally.differentIntensities));
    std::fflush(stdout);
    return tally.differentLevels == 0 && tally.differentIntensities == 0;
}

bool compareRuns(const QDir &folder)
{
    bool same = true;
    for (const QString &name : folder.entryList({QStringLiteral("*.mzML.gz")}, QDir::Files)) {
        Tally tally;
        for (const auto &spectrum : kyv::runs::loadRun(folder.filePath(name)).spectra) {
            std::vector<float> data;
            for (const QPointF &point : spectrum.points)
                data.push_back(float(point.y()));
            compare(data, PackParameters::create(data.data(), data.size(), PackMethod::Quantizing),
                    tally);
        }
        same = report(name.toStdString(), tally) && same;
    }
    return same;
}

PackParameters parametersWith(quint8 bits, double power, float singleCount, float rawOffset,
                              float rawMax)
{
    QByteArray record;
    QDataStream out(&record, QIODevice::WriteOnly);
    out << qint16(1) << qint8(1) << qint8(bits) << qint8(0) << power << singleCount << rawOffset
        << rawMax;
    QDataStream in(record);
    return PackParameters::read(in).value();
}

using Random = std::mt19937_64;

double uniform(Random &random, double low, double high)
{
    return low + (high - low) * double(random() >> 11) * 0x1p-53;
}

/// Fills \a data and returns the parameters to quantize it with.
using Maker = std::function<PackParameters(Random &, std::vector<float> &)>;

PackParameters logUniform(Random &random, std::vector<float> &data)
{
    const double decades = uniform(random, 1, 9);
    for (float &value : data)
        value = float(std::pow(10.0, uniform(random, 0, decades)));
    return PackParameters::create(data.data(), data.size(), PackMethod::Quantizing);
}

PackParameters wholeCounts(Random &random, std::vector<float> &data)
{
    const auto mean = uniform(random, 1, 1000);
    const auto count = float(uniform(random, 0.6, 300));
    for (float &value : data)
        value = count * std::floor(float(-mean * std::log(uniform(random, 1e-9, 1))));
    return PackParameters::create(data.data(), data.size(), PackMethod::Quantizing);
}

PackParameters anyBits(Random &random, std::vector<float> &data)
{
    for (float &value : data)
        value = std::bit_cast<float>(quint32(random()));
    return parametersWith(10, uniform(random, 0.05, 3), float(uniform(random, 0.5, 100)),
                          float(uniform(random, -50, 50)),
                          float(std::pow(10.0, uniform(random, 2.5, 12))));
}

/// The floats around the boundaries between levels, where the approximate formula cannot decide.
PackParameters boundaries(Random &random, std::vector<float> &data)
{
    const double power = random() % 4 == 0 ? 0.5 : uniform(random, 0.2, 0.85);
    const auto singleCount = float(uniform(random, 0.5, 100));
    const auto rawMax = singleCount * float(std::pow(10.0, uniform(random, 2, 8)));
    const PackParameters parameters = parametersWith(10, power, singleCount, 0, rawMax);
    const IntensityQuantizer quantizer(parameters);
    for (float &value : data) {
        const double level = double(random() % 512) + 0.5;
        const double counts = std::pow(level / quantizer.scale(), 1 / power);
        const auto bits = std::bit_cast<quint32>(float(counts * double(singleCount)));
        value = std::bit_cast<float>(quint32(bits + quint32(random() % 9) - 4));
    }
    return parameters;
}

PackParameters wideScales(Random &random, std::vector<float> &data)
{
    const auto bits = quint8(11 + random() % 21);
    for (float &value : data)
        value = float(std::pow(10.0, uniform(random, 0, 8)));
    return parametersWith(bits, uniform(random, 0.3, 1.2), 1, 0, 1e8F);
}

bool compareRandom(const char *name, quint64 values, const Maker &make)
{
    Random random(20240611);
    std::vector<float> data(listLength);
    Tally tally;
    while (tally.values < values) {
        const PackParameters parameters = make(random, data);
        compare(data, parameters, tally);
    }
    return report(name, tally);
}

} // namespace

int main(int argumentCount, char **arguments)
{
    const quint64 million = 1000000;
    const quint64 share =
        (argumentCount > 1 ? quint64(std::atoi(arguments[1])) : 100) * million / 5;
    std::printf("Sets of loops:");
    for (const IntensityKernels *kernels : availableIntensityKernels())
        std::printf(" %s", kernels->name);
    std::printf("\n\n| %-44s | %11s | %16s | %21s |\n|%s|%s:|%s:|%s:|\n", "intensities", "values",
                "different levels", "different intensities", std::string(46, '-').c_str(),
                std::string(12, '-').c_str(), std::string(17, '-').c_str(),
                std::string(22, '-').c_str());
    bool same = true;
    if (const QString folder = qEnvironmentVariable("KYV_DATA_DIR"); !folder.isEmpty())
        same = compareRuns(QDir(folder));
    same = compareRandom("random: log-uniform over 1 to 9 decades", share, logUniform) && same;
    same = compareRandom("random: whole counts", share, wholeCounts) && same;
    same = compareRandom("random: any bit pattern, any scale", share, anyBits) && same;
    same =
        compareRandom("random: within 4 floats of a level's boundary", share, boundaries) && same;
    same = compareRandom("random: scales of 11 to 31 bits", share, wideScales) && same;
    return same ? 0 : 1;
}
