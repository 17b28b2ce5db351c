#include <ms_compressor/PointsCompressionParameters.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <limits>

using namespace kyv::compressor;
using kyv::ErrorCode;
using kyv::To;

namespace {

const To<PointsCompressionParameters> toParameters;

QJsonObject object(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

/// One failure: code 2, the message, and a single place in the points compressor's unit.
template <typename T>
void expectInvalid(const kyv::Result<T> &result, const QString &message, const char *function)
{
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error().code(), ErrorCode::InvalidInput);
    EXPECT_EQ(result.error().message(), message);
    EXPECT_TRUE(result.warnings().isEmpty());
    ASSERT_EQ(result.error().places().size(), 1);
    EXPECT_EQ(result.error().places()[0].file,
              QStringLiteral("ms_compressor/src/PointsCompressor"));
    EXPECT_TRUE(result.error().places()[0].function.contains(QLatin1String(function)))
        << result.error().places()[0].function.toStdString();
}

struct RejectedJson
{
    const char *phrase;
    const char *json;
    const char *message;
};

void PrintTo(const RejectedJson &row, std::ostream *out)
{
    *out << row.json;
}

} // namespace

TEST(PointsCompressionParametersTest, defaultIsInterleaved)
{
    EXPECT_EQ(PointsCompressionParameters().method(),
              PointsCompressionMethod::InterleavedDoubleDouble);
}

TEST(PointsCompressionParametersTest, compareAsSignedNumbers)
{
    const PointsCompressionParameters two(PointsCompressionMethod(2));
    const PointsCompressionParameters seven(PointsCompressionMethod(7));
    const PointsCompressionParameters minusOne(PointsCompressionMethod(-1));
    EXPECT_TRUE(two < seven);
    EXPECT_FALSE(seven < two);
    EXPECT_TRUE(minusOne < PointsCompressionParameters());
    EXPECT_TRUE(two == PointsCompressionParameters(PointsCompressionMethod(2)));
    EXPECT_TRUE(two != seven);
    EXPECT_FALSE(two != two);
}

TEST(PointsCompressionParametersTest, defaultParametersAsJson)
{
    const auto json = toJson(PointsCompressionParameters());
    ASSERT_TRUE(json.hasValue());
    EXPECT_EQ(QJsonDocument(json.value()).toJson(QJsonDocument::Compact),
              R"({"method":"interleaved_double_double","version":1})");
}

TEST(PointsCompressionParametersTest, everyMethodHasItsNameAndComesBack)
{
    const std::pair<int, const char *> rows[] = {
        {0, "interleaved_double_double"},
        {1, "planar_double_float"},
        {2, "planar_double_float_bit_compressed_v1"},
    };
    for (const auto &[number, name] : rows) {
        const PointsCompressionParameters parameters{PointsCompressionMethod(number)};
        const auto json = toJson(parameters);
        ASSERT_TRUE(json.hasValue()) << name;
        EXPECT_EQ(json.value().value(QStringLiteral("method")).toString(), QLatin1String(name));
        EXPECT_EQ(json.value().size(), 2);
        const auto back = fromJson(json.value(), toParameters);
        ASSERT_TRUE(back.hasValue()) << name;
        EXPECT_TRUE(back.value() == parameters);
        EXPECT_TRUE(back.warnings().isEmpty());
    }
}

TEST(PointsCompressionParametersTest, numbersThatAreNoMethodAreNotWritten)
{
    for (const int number :
         {-1, 3, 7, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        expectInvalid(toJson(PointsCompressionParameters(PointsCompressionMethod(number))),
                      QStringLiteral("Unhandled compression method: %1").arg(number), "toJson");
}

TEST(PointsCompressionParametersTest, integralDoubleVersionAndOtherKeysAreAccepted)
{
    const auto parameters =
        fromJson(object(R"({"version": 1.0, "method": "planar_double_float", "comment": [1]})"),
                 toParameters);
    ASSERT_TRUE(parameters.hasValue());
    EXPECT_EQ(parameters.value().method(), PointsCompressionMethod::PlanarDoubleFloat);
}

class RejectedJsonTest : public testing::TestWithParam<RejectedJson>
{};

TEST_P(RejectedJsonTest, failsWithItsMessage)
{
    expectInvalid(fromJson(object(GetParam().json), toParameters),
                  QString::fromLatin1(GetParam().message), "fromJson");
}

constexpr char badVersion[] = "Unsupported compression version";

INSTANTIATE_TEST_SUITE_P(
    PointsCompressionParametersTest, RejectedJsonTest,
    testing::Values(
        RejectedJson{"emptyObject", "{}", badVersion},
        RejectedJson{"missingVersion", R"({"method":"planar_double_float"})", badVersion},
        RejectedJson{"versionTwo", R"({"version":2,"method":"planar_double_float"})", badVersion},
        RejectedJson{"versionZero", R"({"version":0,"method":"planar_double_float"})", badVersion},
        RejectedJson{"versionAsText", R"({"version":"1","method":"planar_double_float"})",
                     badVersion},
        RejectedJson{"versionOneAndAHalf", R"({"version":1.5,"method":"planar_double_float"})",
                     badVersion},
        RejectedJson{"versionNull", R"({"version":null,"method":"planar_double_float"})",
                     badVersion},
        RejectedJson{"versionTrue", R"({"version":true,"method":"planar_double_float"})",
                     badVersion},
        RejectedJson{"versionBeyondInt", R"({"version":4294967297,"method":"planar_double_float"})",
                     badVersion},
        RejectedJson{"wrongVersionHidesWrongMethod", R"({"version":2,"method":"no"})", badVersion},
        RejectedJson{"missingMethod", R"({"version":1})", "Unsupported compression method: "},
        RejectedJson{"methodAsNumber", R"({"version":1,"method":1})",
                     "Unsupported compression method: "},
        RejectedJson{"unknownMethod", R"({"version":1,"method":"huffman"})",
                     "Unsupported compression method: huffman"},
        RejectedJson{"methodWithBlank", R"({"version":1,"method":"planar_double_float "})",
                     "Unsupported compression method: planar_double_float "},
        RejectedJson{"capitals", R"({"version":1,"method":"Planar_Double_Float"})",
                     "Unsupported compression method: Planar_Double_Float"},
        RejectedJson{"reservedZipName",
                     R"({"version":1,"method":"planar_double_float_zip_compressed_v1"})",
                     "Unsupported compression method: planar_double_float_zip_compressed_v1"}),
    [](const auto &row) { return row.param.phrase; });
