#include "MzmlText.h"

#include "mzml/Limits.h"
#include <TestData.h>

#include <gtest/gtest.h>

using namespace kyv::runs;
using namespace kyv::test;

namespace {

const QList<QPointF> expectedTwoPoints{{100, 1}, {200.5, 2.5}};

std::string failureOf(const RunReading &run)
{
    return run.failure ? run.failure->reason.toStdString() : std::string();
}

/// The only spectrum of a document that must be read without a failure.
Spectrum only(const QByteArray &document)
{
    const LoadedRun run = load(document);
    EXPECT_EQ(failureOf(run), "");
    EXPECT_EQ(run.spectra.size(), 1);
    return run.spectra.value(0);
}

} // namespace

TEST(MzmlReaderTest, readsPointsAndWhatTheSpectrumDeclares)
{
    const QByteArray head =
        param("MS:1000511", "ms level", "2") + param("MS:1000127", "centroid spectrum");
    const QByteArray document = mzml(spectrum(2, head + twoPoints(), "function=1 scan=7"));
    const Spectrum read = only(document);
    EXPECT_EQ(read.points, expectedTwoPoints);
    EXPECT_EQ(read.id, QStringLiteral("function=1 scan=7"));
    EXPECT_EQ(read.index, 0);
    EXPECT_EQ(read.msLevel, 2);
    EXPECT_EQ(read.shape, SpectrumShape::Centroid);
    EXPECT_EQ(read.byteOffset, document.indexOf("<spectrum "));
    EXPECT_EQ(read.x.type, NumberType::Float64);
    EXPECT_EQ(read.y.type, NumberType::Float32);
    EXPECT_EQ(read.y.compression, ArrayCompression::None);
    EXPECT_TRUE(read.setAside.isEmpty());
}

TEST(MzmlReaderTest, readsEveryNumberType)
{
    const Spectrum integers = only(mzml(
        spectrum(3, array(mz + int32 + noCompression, littleEndian<qint32>({-1, 0, 2147483647}))
                        + array(intensity + int64 + zlib,
                                zlibOf(littleEndian<qint64>({-5, 0, 1LL << 53}))))));
    EXPECT_EQ(integers.points,
              QList<QPointF>({{-1, -5}, {0, 0}, {2147483647, 9007199254740992.0}}));
    const Spectrum floats = only(mzml(
        spectrum(1, array(mz + float32 + zlib, zlibOf(littleEndian<float>({0.1f})))
                        + array(intensity + float64 + zlib, zlibOf(littleEndian<double>({0.1}))))));
    EXPECT_EQ(floats.points, QList<QPointF>({{double(0.1f), 0.1}}));
}

TEST(MzmlReaderTest, keepsEveryBitOfEveryDouble)
{
    const QByteArray bits = littleEndian<quint64>({0x7ff8000000000123, 0x8000000000000000, 1});
    const Spectrum read =
        only(mzml(spectrum(3, array(mz + float64 + noCompression, bits)
                                  + array(intensity + float64 + noCompression, bits))));
    ASSERT_EQ(read.points.size(), 3);
    for (int i = 0; i < 3; ++i) {
        const double values[2] = {read.points[i].x(), read.points[i].y()};
        EXPECT_EQ(std::memcmp(&values[0], bits.constData() + 8 * i, 8), 0);
        EXPECT_EQ(std::memcmp(&values[1], bits.constData() + 8 * i, 8), 0);
    }
}

TEST(MzmlReaderTest, resolvesParameterGroups)
{
    const QByteArray groups = "<referenceableParamGroupList count=\"2\">"
                              "<referenceableParamGroup id=\"x\">"
                              + mz + float64 + noCompression
                              + "</referenceableParamGroup><referenceableParamGroup id=\"s\">"
                              + param("MS:1000128", "profile spectrum")
                              + "</referenceableParamGroup></referenceableParamGroupList>";
    const Spectrum read = only(mzml(
        spectrum(1,
                 "<referenceableParamGroupRef ref=\"s\"/><referenceableParamGroupRef ref=\"none\"/>"
                     + array("<referenceableParamGroupRef ref=\"x\"/>", littleEndian<double>({7}))
                     + array(intensity + float64 + noCompression, littleEndian<double>({8}))),
        groups));
    EXPECT_EQ(read.points, QList<QPointF>({{7, 8}}));
    EXPECT_EQ(read.shape, SpectrumShape::Profile);
}

TEST(MzmlReaderTest, aGroupInsideASpectrumMayReferToItself)
{
    const QByteArray group = "<referenceableParamGroup id=\"g\">" + mz
                             + "<referenceableParamGroupRef ref=\"g\"/></referenceableParamGroup>";
    EXPECT_EQ(only(mzml(spectrum(2, group + twoPoints()))).points, expectedTwoPoints);
}

TEST(MzmlReaderTest, toleratesBlanksAndLineEndsInsideAnArray)
{
    QByteArray text = littleEndian<double>({100, 200.5}).toBase64();
    text.insert(20, "\r\n  ").insert(7, "\n\t").prepend("\r\n").append("\r\n");
    const QByteArray content =
        "<binaryDataArray encodedLength=\"24\">" + mz + float64 + noCompression + "<binary>" + text
        + "</binary></binaryDataArray>"
        + array(intensity + float32 + noCompression, littleEndian<float>({1, 2.5f}));
    EXPECT_EQ(only(mzml(spectrum(2, content))).points, expectedTwoPoints);
}

TEST(MzmlReaderTest, readsFilesWithCarriageReturns)
{
    const QByteArray document = mzml(spectrum(2, twoPoints())).replace(">", ">\r\n");
    const Spectrum read = only(document);
    EXPECT_EQ(read.points, expectedTwoPoints);
    EXPECT_EQ(read.byteOffset, document.indexOf("<spectrum "));
}

TEST(MzmlReaderTest, readsEmptySpectraHoweverTheyAreWritten)
{
    const QByteArray emptyArrays = "<binaryDataArray encodedLength=\"0\">" + mz + float64 + zlib
                                   + "<binary/></binaryDataArray>"
                                     "<binaryDataArray encodedLength=\"0\">"
                                   + intensity + float32 + noCompression
                                   + "<binary></binary></binaryDataArray>";
    const QByteArray packedNothing =
        array(mz + float64 + zlib, zlibOf({})) + array(intensity + float64 + zlib, zlibOf({}));
    for (const QByteArray &content : {QByteArray(), emptyArrays, packedNothing}) {
        const Spectrum read = only(mzml(spectrum(0, content)));
        EXPECT_TRUE(read.points.isEmpty());
        EXPECT_TRUE(read.setAside.isEmpty()) << read.setAside.toStdString();
    }
}

TEST(MzmlReaderTest, acceptsIdsWithoutScan)
{
    EXPECT_EQ(only(mzml(spectrum(2, twoPoints(), "&#181; anything"))).id,
              QString::fromUtf8("\u00b5 anything"));
    EXPECT_EQ(only(mzml("<spectrum defaultArrayLength=\"2\">" + twoPoints() + "</spectrum>")).id,
              QString());
}

TEST(MzmlReaderTest, keepsDescendingMzAndNegativeIntensities)
{
    const Spectrum read = only(mzml(spectrum(
        2, array(mz + float64 + noCompression, littleEndian<double>({200, 100}))
               + array(intensity + float64 + noCompression, littleEndian<double>({-3, -0.0})))));
    EXPECT_EQ(read.points, QList<QPointF>({{200, -3}, {100, -0.0}}));
    EXPECT_TRUE(std::signbit(read.points[1].y()));
}

TEST(MzmlReaderTest, needsNoIndexAndIgnoresAWrongOne)
{
    QByteArray document = mzml(spectrum(2, twoPoints()));
    document.replace("<mzML>", "<indexedmzML><mzML>")
        .replace("</mzML>", "</mzML><indexList count=\"1\"><index name=\"spectrum\">"
                            "<offset idRef=\"scan=1\">99999999</offset></index></indexList>"
                            "<indexListOffset>-1</indexListOffset></indexedmzML>");
    EXPECT_EQ(only(document).points, expectedTwoPoints);
}

TEST(MzmlReaderTest, countsChromatogramsAndSkipsTheirArrays)
{
    const LoadedRun run =
        load("<mzML><run><chromatogramList count=\"2\"><chromatogram id=\"TIC\" "
             "defaultArrayLength=\"9\">"
             "<binaryDataArray><binary>not base64!</binary></binaryDataArray></chromatogram>"
             "<chromatogram id=\"b\" defaultArrayLength=\"0\"/></chromatogramList></run></mzML>");
    EXPECT_EQ(failureOf(run), "");
    EXPECT_EQ(run.summary.chromatograms, 2);
    EXPECT_EQ(run.summary.spectra, 0);
}

TEST(MzmlReaderTest, leavesOtherArraysAside)
{
    const QByteArray mobility =
        array(param("MS:1003006", "mean inverse reduced ion mobility array") + float64 + zlib,
              "neither base64 nor zlib");
    const LoadedRun run = load(mzml(spectrum(2, mobility + twoPoints() + mobility)));
    EXPECT_EQ(failureOf(run), "");
    EXPECT_EQ(run.spectra.value(0).points, expectedTwoPoints);
    EXPECT_EQ(
        run.summary.otherArrays.value(QStringLiteral("mean inverse reduced ion mobility array")),
        2);
}

TEST(MzmlReaderTest, usesTheArraysOwnLengthWhereItHasOne)
{
    const QByteArray content =
        array(mz + float64 + noCompression, littleEndian<double>({100, 200.5}),
              " arrayLength=\"2\"")
        + array(intensity + float32 + zlib, zlibOf(littleEndian<float>({1, 2.5f})),
                " arrayLength=\"2\"");
    EXPECT_EQ(only(mzml(spectrum(5, content))).points, expectedTwoPoints);
}

TEST(MzmlReaderTest, readsNamespacePrefixes)
{
    QByteArray document = mzml(spectrum(2, twoPoints()));
    document.replace("</", "</m:")
        .replace("<m", "<m:m")
        .replace("<s", "<m:s")
        .replace("<b", "<m:b")
        .replace("<c", "<m:c")
        .replace("<r", "<m:r")
        .replace("<m:m:", "<m:")
        .replace("<m:m:", "<m:");
    document.replace("<m:mzML", "<m:mzML xmlns:m=\"http://psi.hupo.org/ms/mzml\"");
    EXPECT_EQ(load(document).spectra.value(0).points, expectedTwoPoints) << document.toStdString();
}

TEST(MzmlReaderTest, readsOtherEncodings)
{
    QByteArray latin = mzml(spectrum(2, twoPoints(), "\xb5"));
    latin.replace("utf-8", "ISO-8859-1");
    EXPECT_EQ(only(latin).id, QString(QChar(0xb5)));
}

TEST(MzmlReaderTest, stopsWhereTheCallerSaysSo)
{
    QBuffer buffer;
    buffer.setData(mzml(spectrum(2, twoPoints()) + spectrum(2, twoPoints()) + "<damaged"));
    buffer.open(QIODevice::ReadOnly);
    int seen = 0;
    RunHandlers handlers;
    handlers.spectrum = [&](Spectrum &&) { return ++seen < 1; };
    EXPECT_EQ(failureOf(readRun(buffer, handlers)), "");
    EXPECT_EQ(seen, 1);
}

TEST(MzmlReaderTest, givesTheTextWithoutArrays)
{
    // Long enough for several pieces, with elements across their borders.
    QByteArray spectra;
    QByteArray expected;
    for (int i = 0; i < 3000; ++i) {
        const QByteArray id = QByteArray::number(i);
        spectra += spectrum(2, twoPoints(), id);
        expected += spectrum(2,
                             array(mz + float64 + noCompression, {})
                                 + array(intensity + float32 + noCompression, {}),
                             id);
    }
    QBuffer buffer;
    buffer.setData(mzml(spectra, "<binary/>"));
    buffer.open(QIODevice::ReadOnly);
    QByteArray text;
    RunHandlers handlers;
    handlers.textWithoutArrays = [&](const char *piece, qsizetype size) {
        text.append(piece, size);
    };
    EXPECT_EQ(failureOf(readRun(buffer, handlers)), "");
    EXPECT_EQ(text, mzml(expected, "<binary/>"));
}

TEST(MzmlReaderTest, readsTheSpectraOfEveryMeasuredRun)
{
    KYV_FOLDER_OR_SKIP(folder, "KYV_DATA_DIR");
    for (const QString &name :
         QDir(folder).entryList({QStringLiteral("*.mzML.gz"), QStringLiteral("*.mzML")})) {
        const LoadedRun run = loadRun(folder + QLatin1Char('/') + name);
        EXPECT_EQ(failureOf(run), "") << name.toStdString();
        EXPECT_EQ(run.summary.spectra, run.spectra.size()) << name.toStdString();
        EXPECT_EQ(run.summary.setAside, 0) << name.toStdString();
    }
}
