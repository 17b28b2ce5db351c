// What the reader refuses or sets aside, with the byte and the reason that it gives.

#include "MzmlText.h"

#include "mzml/Limits.h"

#include <gtest/gtest.h>

using namespace kyv::runs;
using namespace kyv::test;

namespace {

struct Refusal
{
    const char *name;
    QByteArray document;
    QByteArray at; // the refused byte is where this text first stands
    QByteArray reason;
};

void PrintTo(const Refusal &refusal, std::ostream *stream)
{
    *stream << refusal.name;
}

QByteArray arrays(const QByteArray &x,
                  const QByteArray &y = array(intensity + float32 + noCompression,
                                              littleEndian<float>({1, 2})))
{
    return mzml(spectrum(2, x + y));
}

QByteArray rawText(const QByteArray &params, const QByteArray &text)
{
    return "<binaryDataArray>" + params + "<binary>" + text + "</binary></binaryDataArray>";
}

const Refusal refusals[] = {
    {"anEmptyFile", "", "", "the file is empty"},
    {"textThatIsNoXml", "100.0 5\n", "100", "not XML (syntax error)"},
    {"mzData", "<?xml version=\"1.0\"?><mzData>", "<mzData", "mzData is not supported, only mzML"},
    {"mzXml", "<mzXML xmlns=\"x\">", "<mzXML", "mzXML is not supported, only mzML"},
    {"anotherRoot", "<html>", "<html", "not mzML: the root element is <html>"},
    {"imzMl",
     mzml(spectrum(0, ""),
          "<fileContent><cvParam accession=\"IMS:1000031\" name=\"processed\"/></fileContent>"),
     "<cvParam", "imzML is not supported: its arrays are in a separate file"},
    {"imzMlByItsExternalArrays",
     mzml(spectrum(0, ""), "<referenceableParamGroup id=\"a\"><cvParam accession=\"IMS:1000101\" "
                           "value=\"true\"/></referenceableParamGroup>"),
     "<cvParam", "imzML is not supported: its arrays are in a separate file"},
    {"aDocumentType", "<?xml version=\"1.0\"?><!DOCTYPE mzML [<!ENTITY a \"aaaa\">]><mzML/>",
     "<!DOCTYPE", "a DOCTYPE is not accepted"},
    {"anIndexWithoutRun", "<indexedmzML></indexedmzML>", "<", "no mzML element"},
    {"aCutFile", mzml(spectrum(2, twoPoints())).chopped(12), "", "the file ends too early"},
    {"aCutTag", "<mzML><run id=", "<run", "the file ends too early"},
    {"crossedTags", "<mzML><run></mzML></run>", "mzML></run>", "XML: mismatched tag"},
    {"aSpectrumInASpectrum", mzml(spectrum(0, "<spectrum2/><spectrum defaultArrayLength=\"0\"/>")),
     "<spectrum defaultArray", "a spectrum inside a spectrum"},
    {"textThatIsNoBase64", arrays(rawText(mz + float64 + noCompression, "AAAA*AAA")), "<binary>",
     "m/z array: not base64"},
    {"damagedZlib", arrays(array(mz + float64 + zlib, "not zlib")), "<binary>",
     "m/z array: damaged zlib data"},
    {"cutZlib",
     arrays(array(mz + float64 + zlib, zlibOf(littleEndian<double>({100, 200.5})).chopped(5))),
     "<binary>", "m/z array: damaged zlib data"},
    {"halfAValue", arrays(array(mz + float64 + noCompression, littleEndian<float>({1, 2, 3}))),
     "<binary>", "m/z array: 12 bytes are no whole number of values"},
    {"moreValuesThanDeflateCanHold",
     mzml(spectrum(1000000000, array(mz + float64 + zlib, zlibOf(littleEndian<double>({1}))))),
     "<binary>",
     "m/z array: " + QByteArray::number(zlibOf(littleEndian<double>({1})).size())
         + " bytes of zlib data cannot hold the 8000000000 bytes declared"},
};

class MzmlRefusalTest : public testing::TestWithParam<Refusal>
{};

} // namespace

TEST_P(MzmlRefusalTest, saysWhereAndWhy)
{
    const Refusal &expected = GetParam();
    const LoadedRun run = load(expected.document);
    ASSERT_TRUE(run.failure);
    EXPECT_EQ(run.failure->kind, ReadFailure::Kind::Corrupt);
    EXPECT_EQ(run.failure->reason.toStdString(), expected.reason.toStdString());
    if (!expected.at.isEmpty()) {
        EXPECT_EQ(run.failure->byteOffset, expected.document.indexOf(expected.at));
    }
}

INSTANTIATE_TEST_SUITE_P(Refusals, MzmlRefusalTest, testing::ValuesIn(refusals),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(MzmlLimitTest, deepNestingIsRefused)
{
    const QByteArray document = "<mzML>" + QByteArray("<a>").repeated(limits::elementDepth);
    const LoadedRun run = load(document);
    ASSERT_TRUE(run.failure);
    EXPECT_EQ(run.failure->reason, QStringLiteral("elements nested more than 64 deep"));
    EXPECT_EQ(run.failure->byteOffset, document.size() - 3);
}

TEST(MzmlLimitTest, endlessTagsAreRefused)
{
    const LoadedRun run = load("<mzML><run id=\"" + QByteArray(8 << 20, 'a') + "\"/></mzML>");
    ASSERT_TRUE(run.failure);
    EXPECT_EQ(run.failure->reason, QStringLiteral("a tag of more than 4194304 bytes"));
    EXPECT_EQ(run.failure->byteOffset, 6);
}

TEST(MzmlLimitTest, aSmallArrayOfManyZerosIsRefused)
{
    const QByteArray packed = zlibOf(QByteArray(80 << 20, '\0'));
    const QByteArray document = mzml(spectrum(10 << 20, array(mz + float64 + zlib, packed)));
    const LoadedRun run = load(document);
    ASSERT_TRUE(run.failure);
    EXPECT_EQ(run.failure->reason.toStdString(),
              "m/z array: " + std::to_string(packed.size())
                  + " bytes of zlib data announce 83886080 bytes, more than accepted");
    EXPECT_EQ(run.failure->byteOffset, document.indexOf("<binary>"));
}

TEST(MzmlLimitTest, largeGroupsAreRefused)
{
    const QByteArray group = "<referenceableParamGroup id=\"g\">"
                             + param("MS:1", QByteArray(3 << 20, 'n').constData()).repeated(6)
                             + "</referenceableParamGroup>";
    const LoadedRun run = load(mzml("", group));
    ASSERT_TRUE(run.failure);
    EXPECT_EQ(run.failure->reason, QStringLiteral("parameter groups of more than 16777216 bytes"));
}

TEST(MzmlLimitTest, endlessReferencesAreRefused)
{
    const QByteArray group = "<referenceableParamGroup id=\"g\">"
                             + param("MS:1", QByteArray(3 << 20, 'n').constData())
                             + "</referenceableParamGroup>";
    const QByteArray references =
        QByteArray("<referenceableParamGroupRef ref=\"g\"/>").repeated(100);
    const LoadedRun run = load(mzml(spectrum(1, references), group));
    ASSERT_TRUE(run.failure);
    EXPECT_TRUE(run.failure->reason.startsWith(QStringLiteral("references to more than ")))
        << run.failure->reason.toStdString();
}

// Spectra that are sound but give no points are set aside; the run goes on.

namespace {

struct SetAside
{
    const char *name;
    int length;
    QByteArray content;
    const char *reason;
};

void PrintTo(const SetAside &row, std::ostream *stream)
{
    *stream << row.name;
}

const QByteArray y2 = array(intensity + float32 + noCompression, littleEndian<float>({1, 2}));
const QByteArray x2 = array(mz + float64 + noCompression, littleEndian<double>({1, 2}));
const QByteArray numpress = param("MS:1002312", "MS-Numpress linear prediction compression");

const SetAside setAsideRows[] = {
    {"anUnknownCompression", 2, array(mz + float64 + numpress, "??") + y2,
     "m/z array: MS-Numpress linear prediction compression is not supported"},
    {"anUnknownCompressionInsideZlib", 2, array(mz + float64 + numpress + zlib, "??") + y2,
     "m/z array: MS-Numpress linear prediction compression is not supported"},
    {"anUnknownCompressionBeforeAnother", 2, array(mz + float64 + zlib + numpress, "??") + y2,
     "m/z array: MS-Numpress linear prediction compression is not supported"},
    {"anUndeclaredCompression", 2, array(mz + float64, "") + y2,
     "m/z array: its compression is not declared"},
    {"anUndeclaredType", 2, array(mz + zlib, "") + y2,
     "m/z array: its number type is not declared"},
    {"anUnsupportedType", 2,
     x2 + array(intensity + param("MS:1000520", "16-bit float") + noCompression, ""),
     "intensity array: 16-bit float values are not supported"},
    {"fewerValuesThanDeclared", 3, x2 + y2, "m/z array holds 2 values where 3 are declared"},
    {"moreValuesThanDeclared", 1, x2 + y2, "m/z array holds 2 values where 1 are declared"},
    {"moreZlibThanDeclared", 2,
     x2 + array(intensity + float32 + zlib, zlibOf(littleEndian<float>({1, 2, 3}))),
     "intensity array unpacks to more than the 8 bytes declared"},
    {"lessZlibThanDeclared", 2,
     x2 + array(intensity + float32 + zlib, zlibOf(littleEndian<float>({1}))),
     "intensity array holds 1 values where 2 are declared"},
    {"arraysOfDifferentLengths", 2,
     x2
         + array(intensity + float32 + noCompression, littleEndian<float>({1}),
                 " arrayLength=\"1\""),
     "2 m/z values and 1 intensities"},
    {"noMz", 2, y2, "no m/z array"},
    {"noIntensity", 2, x2, "no intensity array"},
    {"twoMz", 2, x2 + x2 + y2, "more than one m/z array"},
    {"nothingAtAll", 2, "", "no m/z array"},
    {"absurdLength", 2000000000, x2 + y2, "m/z array: 2000000000 values are more than accepted"},
};

class MzmlSetAsideTest : public testing::TestWithParam<SetAside>
{};

} // namespace

TEST_P(MzmlSetAsideTest, isCountedAndNamed)
{
    const SetAside &row = GetParam();
    const LoadedRun run =
        load(mzml(spectrum(row.length, row.content) + spectrum(2, twoPoints(), "after")));
    ASSERT_FALSE(run.failure) << run.failure->reason.toStdString();
    ASSERT_EQ(run.spectra.size(), 2);
    EXPECT_EQ(run.spectra[0].setAside.toStdString(), row.reason);
    EXPECT_TRUE(run.spectra[0].points.isEmpty());
    EXPECT_EQ(run.spectra[1].points.size(), 2);
    EXPECT_EQ(run.summary.setAside, 1);
    EXPECT_EQ(run.summary.points, 2);
}

INSTANTIATE_TEST_SUITE_P(Spectra, MzmlSetAsideTest, testing::ValuesIn(setAsideRows),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(MzmlSetAsideTest, unknownCompressionsAreCountedByName)
{
    const QByteArray slof = param("MS:1002314", "MS-Numpress short logged float compression");
    const LoadedRun run = load(
        mzml(spectrum(2, array(mz + float64 + numpress, "") + array(intensity + float64 + slof, ""))
             + spectrum(2, array(mz + float64 + numpress, "") + y2)));
    EXPECT_EQ(run.summary.unknownCompressions,
              (QMap<QString, qsizetype>{
                  {QStringLiteral("MS-Numpress linear prediction compression"), 2},
                  {QStringLiteral("MS-Numpress short logged float compression"), 1}}));
}

// Damage of every kind

TEST(MzmlDamageTest, everyBitFlipAndEveryPrefixEndsInAValueOrARefusal)
{
    const QByteArray document =
        mzml(spectrum(2,
                      param("MS:1000511", "ms level", "1")
                          + array(mz + float64 + zlib, zlibOf(littleEndian<double>({100, 200.5})))
                          + array(intensity + float32 + noCompression, littleEndian<float>({1, 2})),
                      "a"));
    ASSERT_FALSE(load(document).failure);
    const auto check = [](const QByteArray &damaged) {
        const LoadedRun run = load(damaged);
        if (run.failure) {
            EXPECT_FALSE(run.failure->reason.isEmpty());
            EXPECT_FALSE(run.failure->reason.contains(QLatin1Char('\n')));
            EXPECT_GE(run.failure->byteOffset, 0);
            EXPECT_LE(run.failure->byteOffset, damaged.size());
        }
    };
    for (qsizetype bit = 0; bit < 8 * document.size(); ++bit) {
        QByteArray damaged = document;
        damaged[bit / 8] = char(damaged[bit / 8] ^ (1 << (bit % 8)));
        check(damaged);
    }
    for (qsizetype size = 0; size < document.size() - 1; ++size) {
        check(document.first(size));
        EXPECT_TRUE(load(document.first(size)).failure) << size;
    }
}
