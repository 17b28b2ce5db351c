#include "survey/IntensitySurvey.h"
#include "survey/IntensityPlot.h"

#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <limits>

using namespace kyv::tool;
using kyv::compressor::PackMethod;
using kyv::compressor::PackParameters;
using kyv::runs::Spectrum;

namespace {

Spectrum spectrum(const QList<double> &intensities)
{
    Spectrum spectrum;
    spectrum.id = QStringLiteral("scan=1");
    for (qsizetype i = 0; i < intensities.size(); ++i)
        spectrum.points.append(QPointF(double(i), intensities[i]));
    return spectrum;
}

QList<PackSurvey> survey(const QList<double> &intensities)
{
    IntensitySurvey survey(1, nullptr);
    survey.add(spectrum(intensities));
    return survey.takeMethods();
}

const QList<double> ordinary{0, 10, 500, 2000, 100000, 0, 30};

} // namespace

TEST(IntensitySurveyTest, rawDataIsExact)
{
    const PackSurvey raw = survey(ordinary).at(0);
    EXPECT_EQ(raw.method, QStringLiteral("RawData"));
    EXPECT_EQ(raw.exact, 1);
    EXPECT_EQ(raw.packedBytes, 3 + 4 + 7 * 4);
    EXPECT_EQ(raw.intensities, 7);
    EXPECT_EQ(raw.positive, 5);
    EXPECT_EQ(raw.largestRelativeError, 0);
    EXPECT_EQ(raw.rmsRelativeError(), 0);
    EXPECT_TRUE(raw.unusable.isEmpty());
}

TEST(IntensitySurveyTest, quantizingHasErrors)
{
    const PackSurvey quantized = survey(ordinary).at(1);
    EXPECT_EQ(quantized.method, QStringLiteral("Quantizing"));
    EXPECT_EQ(quantized.exact, 0);
    EXPECT_EQ(quantized.positive, 5);
    EXPECT_GT(quantized.largestRelativeError, 0);
    EXPECT_GT(quantized.rmsRelativeError(), 0);
    EXPECT_LE(quantized.rmsRelativeError(), quantized.largestRelativeError);
    EXPECT_TRUE(quantized.unusable.isEmpty());
}

TEST(IntensitySurveyTest, whatLosesEverythingIsNamed)
{
    const PackSurvey quantized = survey({0.1, 0.5, 0.9, 1.0}).at(1);
    ASSERT_EQ(quantized.unusable.size(), 1);
    EXPECT_TRUE(
        quantized.unusable[0].reason.startsWith(QStringLiteral("no two neighbours differ")));
    EXPECT_EQ(quantized.unusable[0].id, QStringLiteral("scan=1"));
    EXPECT_TRUE(survey({0.1, 0.5}).at(0).unusable.isEmpty());
}

TEST(IntensitySurveyTest, zerosAndNothingAndEqualIntensitiesAreFine)
{
    for (const QList<double> &intensities :
         {QList<double>(), QList<double>(40, 0.0), QList<double>(1, 5.0), QList<double>(3, 7.0)}) {
        for (const PackSurvey &method : survey(intensities)) {
            EXPECT_EQ(method.exact, 1);
            EXPECT_TRUE(method.unusable.isEmpty()) << method.method.toStdString();
            EXPECT_EQ(method.rmsRelativeError(), 0);
        }
    }
}

TEST(IntensityPlotTest, isWellFormedAndCountsWhatItShows)
{
    IntensityPlot plot;
    plot.add({1, 10, 100, 0, -5, 1e-30F}, {1, 11, 0, 0, 0, 0});
    const QByteArray svg =
        plot.svg({QStringLiteral("/some/a<b>&c.mzML"), QStringLiteral("d"), QStringLiteral("e")});
    QXmlStreamReader xml(svg);
    QString texts;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            EXPECT_NE(xml.name(), QStringLiteral("script"));
        }
        if (xml.isCharacters())
            texts += xml.text();
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    EXPECT_TRUE(texts.contains(QStringLiteral("a<b>&c.mzML, d and 1 more")));
    EXPECT_TRUE(texts.contains(QStringLiteral("4 positive intensities")));
    EXPECT_TRUE(texts.contains(QStringLiteral("50 % became 0, 25 % exact")));
    EXPECT_TRUE(texts.contains(QStringLiteral("smaller than the axis begins")));
}

TEST(IntensityPlotTest, drawsNothingOutOfNothing)
{
    QXmlStreamReader xml(IntensityPlot().svg({}));
    while (!xml.atEnd())
        xml.readNext();
    EXPECT_FALSE(xml.hasError());
    IntensityPlot odd;
    odd.add({std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()},
            {1, 2});
    EXPECT_TRUE(odd.svg({}).contains("0 positive intensities"));
}
