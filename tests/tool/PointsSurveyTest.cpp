#include "survey/PointsSurvey.h"

#include <gtest/gtest.h>

#include <limits>

using namespace kyv::tool;
using kyv::compressor::PointsCompressionMethod;
using kyv::runs::Spectrum;

namespace {

constexpr auto interleaved = PointsCompressionMethod::InterleavedDoubleDouble;
constexpr auto planar = PointsCompressionMethod::PlanarDoubleFloat;
constexpr auto bitCompressed = PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1;

Spectrum spectrum(const QList<QPointF> &points, const char *id = "scan=1")
{
    Spectrum spectrum;
    spectrum.id = QString::fromUtf8(id);
    spectrum.points = points;
    return spectrum;
}

QMap<QString, MethodSurvey> survey(const QList<Spectrum> &spectra)
{
    PointsSurvey survey(1);
    for (const Spectrum &one : spectra)
        survey.add(one);
    QMap<QString, MethodSurvey> byName;
    for (const MethodSurvey &method : survey.takeMethods())
        byName.insert(method.method, method);
    return byName;
}

const QString interleavedName = QStringLiteral("interleaved_double_double");
const QString planarName = QStringLiteral("planar_double_float");
const QString bitCompressedName = QStringLiteral("planar_double_float_bit_compressed_v1");

} // namespace

TEST(PointsSurveyTest, equalListsDoNotDiffer)
{
    const QList<QPointF> points{{1, 2}, {3, std::numeric_limits<double>::quiet_NaN()}};
    const PointsDifference found = difference(points, points, interleaved);
    EXPECT_FALSE(found.x);
    EXPECT_FALSE(found.y);
    EXPECT_TRUE(found.reason.isEmpty());
}

TEST(PointsSurveyTest, comparesBitsNotValues)
{
    const PointsDifference found =
        difference({{0.0, 0.0}, {1, 1}}, {{-0.0, -0.0}, {1, 1}}, interleaved);
    EXPECT_TRUE(found.x);
    EXPECT_TRUE(found.y);
    EXPECT_EQ(found.largestIntensityChange, 0);
}

TEST(PointsSurveyTest, saysHowMuchIntensitiesChange)
{
    const PointsDifference found =
        difference({{1, 0.1}, {2, 100}}, {{1, double(0.1f)}, {2, 100}}, planar);
    EXPECT_FALSE(found.x);
    EXPECT_TRUE(found.y);
    EXPECT_DOUBLE_EQ(found.largestIntensityChange, double(0.1f) - 0.1);
    EXPECT_DOUBLE_EQ(found.largestRelativeIntensityChange, (double(0.1f) - 0.1) / 0.1);
    EXPECT_EQ(found.reason, QStringLiteral("intensities need more than 32-bit floats"));
}

TEST(PointsSurveyTest, callsUnexplainedChangesByTheirName)
{
    EXPECT_TRUE(
        difference({{1, 2}}, {{1, 3}}, planar).reason.contains(QStringLiteral("please report")));
    EXPECT_TRUE(difference({{1, 2}, {2, 2}}, {{1, 2}, {3, 2}}, bitCompressed)
                    .reason.contains(QStringLiteral("please report")));
    EXPECT_EQ(difference({{1, 2}}, {}, planar).reason, QStringLiteral("1 points come back as 0"));
}

TEST(PointsSurveyTest, countsSpectraPointsAndBytes)
{
    const auto methods = survey({spectrum({{100, 1}, {101, 2}, {102, 0.5}}), spectrum({}),
                                 spectrum({{1, 0.1}, {2, 3}}, "b")});
    EXPECT_EQ(methods[interleavedName].encodedBytes, 80);
    EXPECT_EQ(methods[planarName].encodedBytes, 60);
    for (const MethodSurvey &method : methods) {
        EXPECT_EQ(method.spectra, 3);
        EXPECT_EQ(method.points, 5);
        EXPECT_EQ(method.exactX, 3);
    }
    EXPECT_EQ(methods[interleavedName].exact, 3);
    EXPECT_EQ(methods[planarName].exact, 2);
    ASSERT_EQ(methods[planarName].changed.size(), 1);
    EXPECT_EQ(methods[planarName].changed[0].id, QStringLiteral("b"));
}

namespace {

struct Reason
{
    const char *name;
    QList<QPointF> points;
    const QString *method;
    const char *reason;
};

void PrintTo(const Reason &row, std::ostream *stream)
{
    *stream << row.name;
}

const Reason reasons[] = {
    {"aSinglePoint",
     {{0.3, 1}},
     &bitCompressedName,
     "a single point, whose m/z this method does not keep"},
    {"negativeZero", {{1, -0.0}, {2, 1}}, &bitCompressedName, "intensities of -0.0 become 0.0"},
    {"aDoubleIntensity",
     {{1, 0.1}, {2, 1}},
     &bitCompressedName,
     "intensities need more than 32-bit floats"},
    {"tooLargeForAFloat",
     {{1, 1e300}, {2, 1}},
     &planarName,
     "intensities beyond the range of 32-bit floats"},
    {"tooSmallForAFloat",
     {{1, 1e-300}, {2, 1}},
     &planarName,
     "intensities need more than 32-bit floats"},
    {"twoReasons",
     {{1, 1e300}, {2, 0.1}},
     &planarName,
     "intensities need more than 32-bit floats; intensities beyond the range of 32-bit floats"},
};

class ChangeReasonTest : public testing::TestWithParam<Reason>
{};

} // namespace

TEST_P(ChangeReasonTest, isNamed)
{
    const auto methods = survey({spectrum(GetParam().points)});
    const MethodSurvey method = methods[*GetParam().method];
    ASSERT_EQ(method.changed.size(), 1);
    EXPECT_EQ(method.changed[0].reason.toStdString(), GetParam().reason);
    EXPECT_EQ(method.exact, 0);
}

INSTANTIATE_TEST_SUITE_P(Reasons, ChangeReasonTest, testing::ValuesIn(reasons),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(PointsSurveyTest, unlikeSignsAndEqualMzAreNamed)
{
    const auto methods = survey({spectrum({{-1, 1}, {2, 1}})});
    ASSERT_EQ(methods[bitCompressedName].changed.size(), 1);
    EXPECT_TRUE(methods[bitCompressedName].changed[0].reason.startsWith(
        QStringLiteral("m/z of unlike sign")));
    const auto equal = survey({spectrum(QList<QPointF>(11, QPointF(0.3, 1)))});
    ASSERT_EQ(equal[bitCompressedName].changed.size(), 1);
    EXPECT_TRUE(
        equal[bitCompressedName].changed[0].reason.startsWith(QStringLiteral("all m/z are equal")));
    EXPECT_TRUE(equal[interleavedName].changed.isEmpty());
}
