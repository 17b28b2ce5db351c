#include "MzmlText.h"

#include "simulate/MzmlWriter.h"
#include "simulate/Random.h"
#include "simulate/Simulator.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using namespace kyv::runs;
using namespace kyv::test;

namespace {

QByteArray written(const QList<Spectrum> &spectra)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    MzmlWriter writer(buffer);
    EXPECT_TRUE(writer.begin(QStringLiteral("a & b"), spectra.size()));
    for (const Spectrum &spectrum : spectra)
        EXPECT_TRUE(writer.write(spectrum));
    EXPECT_TRUE(writer.end());
    return buffer.data();
}

bool sameBits(const QList<QPointF> &a, const QList<QPointF> &b)
{
    const std::size_t size = std::size_t(a.size()) * sizeof(QPointF);
    return a.size() == b.size()
           && (a.isEmpty() || std::memcmp(a.constData(), b.constData(), size) == 0);
}

SimulationSettings settings(SimulatedKind kind, qsizetype spectra, quint64 seed = 1)
{
    SimulationSettings settings;
    settings.kind = kind;
    settings.spectra = spectra;
    settings.seed = seed;
    return settings;
}

} // namespace

TEST(RandomTest, portableExpIsWithinAFewUnitsOfTheLastPlace)
{
    for (double x = -700; x <= 700; x += 0.37) {
        const double expected = std::exp(x);
        EXPECT_NEAR(portableExp(x) / expected, 1, 4e-16 + 1e-18 * std::abs(x)) << x;
    }
    EXPECT_EQ(portableExp(0), 1);
}

TEST(SimulatorTest, theSameSeedGivesTheSameBytesEverywhere)
{
    // One digest for all compilers, optimisation levels and processors.
    const QByteArray bytes = written(simulateRun(settings(SimulatedKind::Mixed, 24)));
    EXPECT_EQ(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().toStdString(),
              "03e6dcb46803757c4bda181f1934a151a19760a935529965f6e4d672d086235f");
}

TEST(SimulatorTest, otherSeedsGiveOtherSpectra)
{
    const Simulator one(settings(SimulatedKind::Centroid, 2, 1));
    const Simulator two(settings(SimulatedKind::Centroid, 2, 2));
    EXPECT_FALSE(sameBits(one.spectrum(0).points, two.spectrum(0).points));
    EXPECT_FALSE(sameBits(one.spectrum(0).points, one.spectrum(1).points));
    EXPECT_TRUE(sameBits(one.spectrum(1).points, one.spectrum(1).points));
}

TEST(SimulatorTest, everyKindLooksLikeItsInstrument)
{
    for (const SimulatedKind kind : {SimulatedKind::Tof, SimulatedKind::Counting,
                                     SimulatedKind::Orbitrap, SimulatedKind::Centroid}) {
        for (const Spectrum &spectrum : simulateRun(settings(kind, 3, 11))) {
            qsizetype zeros = 0;
            for (qsizetype i = 0; i < spectrum.points.size(); ++i) {
                const QPointF &point = spectrum.points[i];
                EXPECT_GE(point.y(), 0);
                EXPECT_EQ(point.y(), double(float(point.y())));
                if (i > 0) {
                    EXPECT_GT(point.x(), spectrum.points[i - 1].x());
                }
                zeros += point.y() == 0;
            }
            const double share = double(zeros) / double(spectrum.points.size());
            if (kind == SimulatedKind::Counting) {
                EXPECT_GT(share, 0.7);
            } else if (kind == SimulatedKind::Orbitrap) {
                EXPECT_GT(share, 0.3);
                EXPECT_LT(share, 0.7);
            } else {
                EXPECT_EQ(zeros, 0);
            }
            EXPECT_EQ(spectrum.shape == SpectrumShape::Centroid, kind == SimulatedKind::Centroid);
        }
    }
}

TEST(MzmlWriterTest, whatIsWrittenIsReadBackBitForBit)
{
    QList<Spectrum> spectra = simulateRun(settings(SimulatedKind::Mixed, 13, 5));
    spectra[3].x.compression = spectra[3].y.compression = ArrayCompression::Zlib;
    spectra[4].points.clear();
    spectra[5].id = QStringLiteral("a<\"&'>b");
    const LoadedRun run = load(written(spectra));
    ASSERT_FALSE(run.failure) << run.failure->reason.toStdString();
    ASSERT_EQ(run.spectra.size(), spectra.size());
    for (qsizetype i = 0; i < spectra.size(); ++i) {
        EXPECT_TRUE(sameBits(run.spectra[i].points, spectra[i].points)) << i;
        EXPECT_EQ(run.spectra[i].id, spectra[i].id);
        EXPECT_EQ(run.spectra[i].msLevel, spectra[i].msLevel);
        EXPECT_EQ(run.spectra[i].shape, spectra[i].shape);
        EXPECT_EQ(run.spectra[i].x.compression, spectra[i].x.compression);
    }
}
