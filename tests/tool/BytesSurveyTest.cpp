#include "survey/BytesSurvey.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

using namespace kyv::tool;
using kyv::runs::Spectrum;

TEST(BytesSurveyTest, takesTextAndPlanes)
{
    BytesSurvey survey(1);
    const QByteArray text = QByteArray("<spectrum/>").repeated(100);
    survey.addText(text.constData(), 500);
    survey.addText(text.constData() + 500, text.size() - 500);
    Spectrum spectrum;
    for (int i = 0; i < 1000; ++i)
        spectrum.points.append(QPointF(i, 7));
    survey.add(spectrum);
    survey.add(Spectrum());

    const QList<ContentSurvey> contents = survey.takeContents();
    ASSERT_EQ(contents.size(), 3);
    const qint64 sizes[] = {1100, 8000, 4000};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(contents[i].bytes, sizes[i]);
        EXPECT_EQ(contents[i].pieces, 1);
        EXPECT_EQ(contents[i].exact, 1);
        EXPECT_EQ(contents[i].cut, 0);
        EXPECT_LT(contents[i].compressedBytes, sizes[i]);
        EXPECT_FALSE(contents[i].sampled);
    }
}

TEST(BytesSurveyTest, whatDoesNotShrinkIsCountedAsCut)
{
    std::mt19937_64 random(3);
    Spectrum spectrum;
    for (int i = 0; i < 200; ++i) {
        const quint64 bits = random() >> 2; // any finite positive double
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        spectrum.points.append(QPointF(value, 1));
    }
    BytesSurvey survey(1);
    survey.add(spectrum);
    const QList<ContentSurvey> contents = survey.takeContents();
    EXPECT_EQ(contents[0].pieces, 0);
    EXPECT_EQ(contents[1].cut, 1);
    EXPECT_EQ(contents[1].exact, 0);
    EXPECT_EQ(contents[1].compressedBytes, 1600);
    EXPECT_EQ(contents[2].exact, 1);
}

TEST(BytesSurveyTest, takesTheBeginningOfALargeRun)
{
    BytesSurvey survey(1);
    const QByteArray piece(8 << 20, 'a');
    for (int i = 0; i < 5; ++i)
        survey.addText(piece.constData(), piece.size());
    const ContentSurvey xml = survey.takeContents().at(0);
    EXPECT_EQ(xml.bytes, BytesSurvey::contentLimit);
    EXPECT_TRUE(xml.sampled);
}

TEST(BytesSurveyTest, takesTheBeginningOfALongSpectrum)
{
    BytesSurvey survey(1);
    Spectrum spectrum;
    spectrum.points.resize(BytesSurvey::contentLimit / 8 + 1000);
    survey.add(spectrum);
    survey.add(spectrum);
    const QList<ContentSurvey> contents = survey.takeContents();
    EXPECT_EQ(contents[1].pieces, 1);
    EXPECT_EQ(contents[1].bytes, BytesSurvey::contentLimit);
    EXPECT_TRUE(contents[1].sampled);
    EXPECT_EQ(contents[2].pieces, 2);
    EXPECT_EQ(contents[2].bytes, BytesSurvey::contentLimit);
    EXPECT_TRUE(contents[2].sampled);
}
