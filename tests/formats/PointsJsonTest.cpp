// docs/formats/points-json.md: its worked examples, as text.

#include <ms_compressor/PointsCompressionParameters.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace kyv;
using namespace kyv::compressor;

TEST(PointsJsonTest, everyMethodIsWrittenAndRead)
{
    const char *const texts[] = {
        R"({"method":"interleaved_double_double","version":1})",
        R"({"method":"planar_double_float","version":1})",
        R"({"method":"planar_double_float_bit_compressed_v1","version":1})",
    };
    for (int method = 0; method < 3; ++method) {
        const PointsCompressionParameters parameters{PointsCompressionMethod(method)};
        const QJsonObject object = toJson(parameters).value();
        EXPECT_EQ(QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString(),
                  texts[method]);
        const QJsonObject read = QJsonDocument::fromJson(texts[method]).object();
        EXPECT_EQ(fromJson(read, To<PointsCompressionParameters>()).value(), parameters);
    }
}
