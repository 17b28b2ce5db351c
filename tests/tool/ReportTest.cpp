#include "Console.h"
#include "ProgressBar.h"
#include "TextTable.h"
#include "survey/SurveyReport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace kyv::tool;

namespace {

FileSurvey fileWith(const char *path, qsizetype points)
{
    FileSurvey file;
    file.path = QString::fromUtf8(path);
    file.summary.spectra = 2;
    file.summary.points = points;
    file.summary.fileBytes = 1234567;
    file.summary.xmlBytes = 1234567;
    MethodSurvey method;
    method.method = QStringLiteral("planar_double_float");
    method.spectra = 2;
    method.points = points;
    method.encodedBytes = 12 * points;
    method.encodeSeconds = 0.5;
    method.decodeSeconds = 0.25;
    method.exactX = 2;
    method.exactY = 1;
    method.exact = 1;
    method.largestIntensityChange = 0.125;
    method.changed = {
        {1, QStringLiteral("controllerType=0 scan=9"), 77, QStringLiteral("because")}};
    file.methods = {method};
    return file;
}

} // namespace

TEST(ConsoleTest, namesFromFilesStayOnOneLine)
{
    EXPECT_EQ(oneLine(QStringLiteral("a\nb\x1b[31mc\u009bd")), QStringLiteral("a b [31mc d"));
    EXPECT_EQ(oneLine(QString(500, QLatin1Char('a')), 20).size(), 20);
}

TEST(ConsoleTest, numbersAreEasyToRead)
{
    EXPECT_EQ(grouped(1234567), QStringLiteral("1,234,567"));
    EXPECT_EQ(humanSize(999), QStringLiteral("999 B"));
    EXPECT_EQ(humanSize(1000), QStringLiteral("1.00 kB"));
    EXPECT_EQ(humanSize(12345678), QStringLiteral("12.3 MB"));
    EXPECT_EQ(humanSize(999999), QStringLiteral("1.00 MB"));
    EXPECT_EQ(counted(1, "spectrum", "spectra"), QStringLiteral("1 spectrum"));
}

TEST(ProgressBarTest, showsShareAndTimeLeft)
{
    EXPECT_EQ(progressLine(50, 100, 90, QStringLiteral("a.mzML")),
              QStringLiteral("[############............]  50 %  1 min 30 s left  a.mzML"));
    EXPECT_EQ(progressLine(0, 0, 0, QString()),
              QStringLiteral("[........................]   0 %  "));
    EXPECT_EQ(progressLine(300, 100, 0, QString()),
              QStringLiteral("[########################] 100 %  "));
}

TEST(TextTableTest, alignsColumns)
{
    TextTable table({QStringLiteral("name"), QStringLiteral("a\nMB"), QStringLiteral("n")});
    table.addRow({QStringLiteral("x"), QStringLiteral("1.50"), QStringLiteral("10")});
    table.addRow({QStringLiteral("longer"), QStringLiteral("12.25"), QStringLiteral("7")});
    EXPECT_EQ(table.text(1).toStdString(), "             a\n"
                                           " name       MB   n\n"
                                           " x        1.50  10\n"
                                           " longer  12.25   7\n");
}

TEST(TextReportTest, listsLargeFilesFirstAndATotalLast)
{
    const QString report = textReport({fileWith("small", 10), fileWith("large", 20)}, false);
    EXPECT_LT(report.indexOf(QStringLiteral("large")), report.indexOf(QStringLiteral("small\n")));
    EXPECT_LT(report.indexOf(QStringLiteral("small\n")),
              report.indexOf(QStringLiteral("all 2 files: 4 spectra, 30 points")));
    EXPECT_TRUE(report.contains(
        QStringLiteral("planar_double_float: 1 of 2 spectra: because\n      (scan=9)\n")));
}

TEST(TextReportTest, quietLeavesTablesAlone)
{
    const QString report = textReport({fileWith("small", 10)}, true);
    EXPECT_FALSE(report.contains(QStringLiteral("because")));
    EXPECT_TRUE(report.contains(QStringLiteral("planar_double_float   12.00")));
}

TEST(JsonReportTest, hasTheDocumentedFigures)
{
    FileSurvey broken = fileWith("broken", 0);
    broken.failure =
        kyv::runs::ReadFailure{kyv::runs::ReadFailure::Kind::Corrupt, 42, QStringLiteral("why")};
    const QByteArray json = jsonReport({fileWith("a", 1000000), broken});
    const QJsonObject report = QJsonDocument::fromJson(json).object();
    EXPECT_EQ(report.value(QStringLiteral("version")).toInt(), 1);
    const QJsonObject file = report.value(QStringLiteral("files")).toArray().at(0).toObject();
    const QJsonObject method = file.value(QStringLiteral("methods")).toArray().at(0).toObject();
    const auto number = [&](const char *key) {
        return method.value(QLatin1String(key)).toDouble(-1);
    };
    EXPECT_EQ(number("bytesPerPoint"), 12);
    EXPECT_EQ(number("ratioToPlanar"), 1);
    EXPECT_DOUBLE_EQ(number("ratioToDoubles"), 16.0 / 12);
    EXPECT_EQ(number("encodeMBPerSecond"), 32);
    EXPECT_EQ(number("encodeMPointsPerSecond"), 2);
    EXPECT_EQ(number("decodeMBPerSecond"), 64);
    EXPECT_EQ(number("decodeMPointsPerSecond"), 4);
    EXPECT_EQ(number("exactSpectra"), 1);
    EXPECT_EQ(number("largestIntensityChange"), 0.125);
    const QJsonObject failed = report.value(QStringLiteral("files")).toArray().at(1).toObject();
    EXPECT_TRUE(failed.value(QStringLiteral("methods"))
                    .toArray()
                    .at(0)
                    .toObject()
                    .value(QStringLiteral("bytesPerPoint"))
                    .isNull());
    EXPECT_EQ(failed.value(QStringLiteral("failure"))
                  .toObject()
                  .value(QStringLiteral("byteOffset"))
                  .toInt(),
              42);
}
