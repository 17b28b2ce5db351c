#include "internal/IntegerList.h"

#include "CpuLevels.h"
#include "Hex.h"
#include "ReferencePackedBits.h"
#include "Sanitizers.h"
#include "Thorough.h"

#include <QDataStream>
#include <QIODevice>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <sys/resource.h>

using namespace kyv::compressor::internal;
using kyv::test::cpuLevels;
using kyv::test::fromHex;
using kyv::test::LimitedCpuFeatures;
using kyv::test::toHex;
namespace reference = kyv::test::reference;

namespace {

constexpr unsigned seed = 20240612;
constexpr auto byteOrders = {QDataStream::BigEndian, QDataStream::LittleEndian};

QByteArray written(const QList<quint32> &values,
                   QDataStream::ByteOrder order = QDataStream::BigEndian)
{
    QByteArray record;
    QDataStream stream(&record, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    EXPECT_EQ(writeIntegerList(stream, values.constData(), quint32(values.size())),
              IntegerListStatus::Ok);
    return record;
}

struct Reading
{
    IntegerListStatus status;
    QList<quint32> values;
};

Reading readFrom(QDataStream &stream)
{
    Reading reading;
    reading.status = readIntegerList(stream, &reading.values);
    return reading;
}

Reading readFrom(const QByteArray &record, QDataStream::ByteOrder order = QDataStream::BigEndian)
{
    QDataStream stream(record);
    stream.setByteOrder(order);
    return readFrom(stream);
}

/// The head of a record: block count, block size, last block size, smallest width, width bits.
QByteArray head(quint32 count, quint32 size, quint32 last, quint32 smallest, quint32 widthBits)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << qint16(count) << qint16(size) << qint16(last) << qint8(smallest) << qint8(widthBits);
    return bytes;
}

/// Values in stretches of one width each, as spectra have them.
QList<quint32> mixedValues(qsizetype count, std::mt19937 &random)
{
    QList<quint32> values;
    while (values.size() < count) {
        const quint32 mask = quint32((quint64(1) << random() % 33) - 1);
        for (quint32 i = quint32(random()) % 100; i > 0 && values.size() < count; --i)
            values.append(quint32(random()) & mask);
    }
    return values;
}

/// A device without positions, as a socket is: it does not tell how much will come.
class SequentialDevice : public QIODevice
{
public:
    explicit SequentialDevice(const QByteArray &content)
        : m_content(content)
    {
        open(QIODevice::ReadOnly);
    }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 size = std::min(maxSize, m_content.size() - m_position);
        std::copy_n(m_content.constData() + m_position, size, data);
        m_position += size;
        return size;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_content;
    qint64 m_position = 0;
};

void checkProperty(const std::function<void()> &property)
{
    rc::detail::TestParams params = rc::detail::configuration().testParams;
    if (kyv::test::isThorough())
        params.maxSuccess = 100000;
    const auto result = rc::detail::checkTestable(property, rc::detail::TestMetadata(), params);
    std::ostringstream text;
    rc::detail::printResultMessage(result, text);
    EXPECT_TRUE(result.is<rc::detail::SuccessResult>()) << text.str();
}

} // namespace

TEST(IntegerListTest, readingGivesWhatWasWritten)
{
    checkProperty([] {
        const auto width = *rc::gen::inRange<quint32>(0, 33);
        const auto order = *rc::gen::element(QDataStream::BigEndian, QDataStream::LittleEndian);
        std::mt19937 random(*rc::gen::arbitrary<quint32>());
        QList<quint32> values = mixedValues(*rc::gen::inRange<qsizetype>(0, 300), random);
        for (quint32 &value : values)
            value &= quint32((quint64(1) << width) - 1);
        const QByteArray record = written(values, order);
        RC_ASSERT(record == reference::writeIntegerList(values, order == QDataStream::BigEndian));
        const Reading reading = readFrom(record, order);
        RC_ASSERT(reading.status == IntegerListStatus::Ok);
        RC_ASSERT(reading.values == values);
    });
}

TEST(IntegerListTest, anyBytesReadAsTheReferenceReadsThem)
{
    checkProperty([] {
        QByteArray record = head(*rc::gen::inRange<quint32>(0, 40), *rc::gen::inRange(0u, 100u),
                                 *rc::gen::inRange(0u, 100u), *rc::gen::inRange(0u, 36u),
                                 *rc::gen::element(0u, 0u, 1u, 2u, 3u, 5u, 6u, 31u, 32u, 33u));
        std::mt19937 random(*rc::gen::arbitrary<quint32>());
        for (int i = *rc::gen::inRange(0, 600); i > 0; --i)
            record.append(char(random() & random() & random()));
        const auto order = *rc::gen::element(QDataStream::BigEndian, QDataStream::LittleEndian);
        const auto expected = reference::readIntegerList(record, order == QDataStream::BigEndian);
        const Reading reading = readFrom(record, order);
        RC_ASSERT((reading.status == IntegerListStatus::Ok) == expected.has_value());
        RC_ASSERT(reading.values == expected.value_or(QList<quint32>()));
    });
}

TEST(IntegerListTest, bytesAreTheSameOnEveryLevel)
{
    std::mt19937 random(seed);
    for (const qsizetype count : {1, 31, 32, 33, 63, 64, 100, 1000, 2047, 2048, 2049, 20011}) {
        const QList<quint32> values = mixedValues(count, random);
        for (const QDataStream::ByteOrder order : byteOrders) {
            const QByteArray expected =
                reference::writeIntegerList(values, order == QDataStream::BigEndian);
            for (const kyv::test::CpuLevel &level : cpuLevels()) {
                SCOPED_TRACE(testing::Message() << count << " " << level.name);
                const LimitedCpuFeatures limited(level.features);
                ASSERT_EQ(written(values, order), expected);
                const Reading reading = readFrom(expected, order);
                ASSERT_EQ(reading.status, IntegerListStatus::Ok);
                ASSERT_EQ(reading.values, values);
            }
        }
    }
}

TEST(IntegerListTest, severalRecordsFollowOneAnother)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::ReadWrite);
    const QList<quint32> first = {1, 2, 3};
    const QList<quint32> second(5000, 77);
    writeIntegerList(stream, first.constData(), 3);
    writeIntegerList(stream, second.constData(), 5000);
    stream << qint32(42);

    QDataStream again(bytes);
    EXPECT_EQ(readFrom(again).values, first);
    EXPECT_EQ(readFrom(again).values, second);
    qint32 after = 0;
    again >> after;
    EXPECT_EQ(after, 42);
    EXPECT_TRUE(again.atEnd());
}

// ---- how a list is cut ---------------------------------------------------------------------

class IntegerListCutTest : public testing::TestWithParam<std::tuple<quint32, const char *>>
{};

TEST_P(IntegerListCutTest, headNamesBlocks)
{
    const auto &[count, expected] = GetParam();
    const QByteArray record = written(QList<quint32>(count, 0));
    EXPECT_EQ(toHex(record), toHex(fromHex(expected)));
    const Reading reading = readFrom(record);
    EXPECT_EQ(reading.status, IntegerListStatus::Ok);
    EXPECT_EQ(reading.values.size(), qsizetype(count));
    EXPECT_EQ(reading.values.count(0), qsizetype(count));
}

INSTANTIATE_TEST_SUITE_P(
    counts, IntegerListCutTest,
    testing::Values(std::tuple(31, "0001 0020 001F 00 00"), std::tuple(32, "0001 0020 0020 00 00"),
                    std::tuple(63, "0001 0020 003F 00 00"), std::tuple(64, "0002 0020 0020 00 00"),
                    std::tuple(2097119, "FFFE 0020 003F 00 00"),
                    std::tuple(2097120, "7FFF 0040 0060 00 00"),
                    std::tuple(2097152, "8000 0040 0040 00 00"),
                    std::tuple(4194239, "FFFE 0040 007F 00 00"),
                    std::tuple(4194240, "7FFF 0080 00C0 00 00")),
    [](const auto &row) { return "count" + std::to_string(std::get<0>(row.param)); });

TEST(IntegerListTest, blocksOfSixtyFourRoundTrip)
{
    std::mt19937 random(seed + 1);
    const QList<quint32> values = mixedValues(2097153, random);
    const QByteArray record = written(values);
    EXPECT_EQ(toHex(record.left(6)), toHex(fromHex("8000 0040 0041")));
    const Reading reading = readFrom(record);
    EXPECT_EQ(reading.status, IntegerListStatus::Ok);
    EXPECT_EQ(reading.values, values);
    EXPECT_EQ(record, reference::writeIntegerList(values, true));
}

TEST(IntegerListTest, tooLongAListIsRefusedBeforeItIsRead)
{
    QByteArray record;
    QDataStream stream(&record, QIODevice::WriteOnly);
    EXPECT_EQ(writeIntegerList(stream, nullptr, 2147450880), IntegerListStatus::TooLong);
    EXPECT_EQ(writeIntegerList(stream, nullptr, 0xFFFFFFFF), IntegerListStatus::TooLong);
    EXPECT_TRUE(record.isEmpty());
}

// ---- damaged records -----------------------------------------------------------------------

TEST(IntegerListTest, smallestWidthAbove32IsInconsistent)
{
    EXPECT_EQ(readFrom(head(1, 32, 1, 32, 0) + fromHex("FFFFFFFF")).values,
              QList<quint32>{0xFFFFFFFF});
    EXPECT_EQ(readFrom(head(1, 32, 1, 33, 0)).status, IntegerListStatus::Inconsistent);
    EXPECT_EQ(readFrom(head(1, 32, 0, 255, 0)).status, IntegerListStatus::Inconsistent);
}

TEST(IntegerListTest, widthsAreComparedBeforeTheSmallestIsAdded)
{
    // 31 + 1 is the widest item; 31 + 2 is too wide; 2 + 0xFFFFFFFF would wrap to 1.
    EXPECT_EQ(readFrom(head(1, 32, 1, 31, 1) + fromHex("00000001 80000000")).values,
              QList<quint32>{0x80000000});
    EXPECT_EQ(readFrom(head(1, 32, 1, 31, 2) + fromHex("00000002 80000000")).status,
              IntegerListStatus::Inconsistent);
    EXPECT_EQ(readFrom(head(1, 32, 1, 2, 32) + fromHex("FFFFFFFF 80000000")).status,
              IntegerListStatus::Inconsistent);
}

TEST(IntegerListTest, widthBitsAbove32AreInconsistent)
{
    EXPECT_EQ(readFrom(head(1, 32, 1, 0, 33)).status, IntegerListStatus::Inconsistent);
    EXPECT_EQ(readFrom(head(65535, 32, 1, 0, 255)).status, IntegerListStatus::Inconsistent);
}

TEST(IntegerListTest, aTooWideBlockAmongManyIsInconsistent)
{
    // 3000 blocks, the last relative width 33: widths are unpacked in runs, all are looked at.
    QList<quint32> widths(3000, 1);
    widths.last() = 33;
    QByteArray words;
    QDataStream stream(&words, QIODevice::WriteOnly);
    QList<quint32> packed(6 * 3000 / 32 + 1);
    for (qsizetype i = 0; i < widths.size(); ++i)
        reference::setItem(packed.data(), 6, quint32(i), widths[i]);
    for (const quint32 word : packed)
        stream << word;
    words.chop(4 * int(packed.size() - (6 * 3000 + 31) / 32));
    const QByteArray record = head(3000, 32, 32, 0, 6) + words;
    EXPECT_EQ(readFrom(record).status, IntegerListStatus::Inconsistent);
    EXPECT_FALSE(reference::readIntegerList(record, true).has_value());
}

TEST(IntegerListTest, aBlockOfNothingHasNoWords)
{
    // A width of 7 and no values: at the end, in front, everywhere.
    EXPECT_TRUE(readFrom(head(1, 32, 0, 7, 0)).values.isEmpty());
    EXPECT_EQ(readFrom(head(1, 32, 0, 7, 0)).status, IntegerListStatus::Ok);
    EXPECT_EQ(readFrom(head(2, 1, 0, 7, 0) + fromHex("00000005")).values, QList<quint32>{5});
    EXPECT_EQ(readFrom(head(3, 0, 1, 7, 0) + fromHex("00000005")).values, QList<quint32>{5});
    EXPECT_TRUE(readFrom(head(65535, 0, 0, 32, 0)).values.isEmpty());
}

TEST(IntegerListTest, blocksOfAnySizeAreRead)
{
    // Sizes that no writer makes: 5 values of 1 bit, then 3 of them.
    const Reading reading = readFrom(head(2, 5, 3, 1, 0) + fromHex("0000001B 00000005"));
    EXPECT_EQ(reading.values, (QList<quint32>{1, 1, 0, 1, 1, 1, 0, 1}));
}

TEST(IntegerListTest, aCutRecordReadsAsZeros)
{
    std::mt19937 random(seed + 2);
    const QByteArray record = written(mixedValues(200, random));
    for (qsizetype size = 0; size <= record.size(); ++size) {
        SCOPED_TRACE(size);
        const QByteArray cut = record.left(size);
        const auto expected = reference::readIntegerList(cut, true);
        ASSERT_TRUE(expected.has_value());
        const Reading reading = readFrom(cut);
        ASSERT_EQ(reading.status, IntegerListStatus::Ok);
        ASSERT_EQ(reading.values, *expected);

        SequentialDevice device(cut);
        QDataStream stream(&device);
        ASSERT_EQ(readFrom(stream).values, *expected);
    }
}

TEST(IntegerListTest, everyFlippedBitReadsAsTheReferenceReadsIt)
{
    std::mt19937 random(seed + 3);
    const QByteArray record = written(mixedValues(100, random));
    for (qsizetype bit = 0; bit < 8 * record.size(); ++bit) {
        SCOPED_TRACE(bit);
        QByteArray damaged = record;
        damaged[bit / 8] = char(damaged[bit / 8] ^ 1 << bit % 8);
        const auto expected = reference::readIntegerList(damaged, true);
        const Reading reading = readFrom(damaged);
        ASSERT_EQ(reading.status == IntegerListStatus::Ok, expected.has_value());
        ASSERT_EQ(reading.values, expected.value_or(QList<quint32>()));
    }
}

// ---- announced sizes -----------------------------------------------------------------------

TEST(IntegerListTest, missingWordsAreCounted)
{
    // 64 MiB are 16,777,216 words, which is what 512 blocks of 32,768 values take at 32 bits.
    const auto record = [](quint32 last) { return head(512, 32768, last, 32, 0); };
    EXPECT_EQ(readFrom(record(32768)).status, IntegerListStatus::Ok);
    EXPECT_EQ(readFrom(record(32769)).status, IntegerListStatus::Inconsistent);
    EXPECT_EQ(readFrom(record(32769) + fromHex("000000")).status, IntegerListStatus::Inconsistent);
    const Reading served = readFrom(record(32769) + fromHex("00000007"));
    EXPECT_EQ(served.status, IntegerListStatus::Ok);
    EXPECT_EQ(served.values.value(0), 7u);
}

TEST(IntegerListTest, refusedRecordsTakeNoMemory)
{
    const QByteArray record = head(65535, 32768, 32768, 32, 0);
    QList<quint32> output = {1, 2, 3};
    output.squeeze();
    QDataStream stream(record);
    EXPECT_EQ(readIntegerList(stream, &output), IntegerListStatus::Inconsistent);
    EXPECT_TRUE(output.isEmpty());
    EXPECT_LE(output.capacity(), 4);
}

TEST(IntegerListTest, aPipeThatRunsDryIsRefusedOnTheWay)
{
    SequentialDevice device(head(65535, 32767, 32767, 32, 0) + QByteArray(1000, '\1'));
    QDataStream stream(&device);
    const Reading reading = readFrom(stream);
    EXPECT_EQ(reading.status, IntegerListStatus::Inconsistent);
    EXPECT_LE(reading.values.size(), (64 << 20) / 4 + 1000);
    EXPECT_EQ(reading.values.value(249), 0x01010101u);
    EXPECT_EQ(reading.values.value(250), 0u);
}

TEST(IntegerListTest, aLongListComesThroughAPipe)
{
    std::mt19937 random(seed + 4);
    const QList<quint32> values = mixedValues(50000, random);
    SequentialDevice device(written(values));
    QDataStream stream(&device);
    EXPECT_EQ(readFrom(stream).values, values);
}

TEST(IntegerListTest, listsAboveTheLimitAreInconsistent)
{
    // 65535 blocks of 32768 values are one value more than a list may have.
    EXPECT_EQ(readFrom(head(65535, 32768, 32768, 0, 0)).status, IntegerListStatus::Inconsistent);
    EXPECT_EQ(readFrom(head(65535, 65535, 65535, 0, 0)).status, IntegerListStatus::Inconsistent);

    QDataStream stream(head(65535, 32768, 32767, 0, 0));
    IntegerListReader reader(stream);
    EXPECT_EQ(reader.open(), IntegerListStatus::Ok);
    EXPECT_EQ(reader.size(), longestIntegerList);
}

TEST(IntegerListTest, aListWithoutMemoryIsInconsistent)
{
    if (kyv::test::sanitizerAllocates)
        GTEST_SKIP() << "a sanitizer ends the process where memory is short";
    // In a process of its own, whose memory is limited to less than the list takes.
    const auto readLimited = [] {
        rlimit limit = {};
        getrlimit(RLIMIT_AS, &limit);
        limit.rlim_cur = rlim_t(2) << 30;
        setrlimit(RLIMIT_AS, &limit);
        const Reading reading = readFrom(head(65535, 32768, 32767, 0, 0));
        std::exit(
            reading.status == IntegerListStatus::Inconsistent && reading.values.isEmpty() ? 0 : 1);
    };
    EXPECT_EXIT(readLimited(), testing::ExitedWithCode(0), "");
}

// ---- reading into other lists --------------------------------------------------------------

TEST(IntegerListTest, valuesAreConvertedRunByRun)
{
    std::mt19937 random(seed + 5);
    const QList<quint32> values = mixedValues(7001, random);
    QDataStream stream(written(values));
    QList<double> output = {1, 2, 3};
    qsizetype calls = 0;
    const IntegerListStatus status = readIntegerListAs(
        stream, &output, [&calls](const quint32 *levels, double *elements, quint32 n) {
            ++calls;
            ASSERT_GE(n, 1u);
            ASSERT_LE(n, IntegerListReader::runLength);
            std::copy_n(levels, n, elements);
        });
    EXPECT_EQ(status, IntegerListStatus::Ok);
    EXPECT_EQ(output, QList<double>(values.cbegin(), values.cend()));
    EXPECT_LE(calls, 5);
}

TEST(IntegerListTest, aSharedListIsLeftAlone)
{
    const QList<quint32> kept = {9, 8, 7};
    QList<quint32> output = kept;
    QDataStream stream(written({1, 2}));
    EXPECT_EQ(readIntegerList(stream, &output), IntegerListStatus::Ok);
    EXPECT_EQ(output, (QList<quint32>{1, 2}));
    EXPECT_EQ(kept, (QList<quint32>{9, 8, 7}));
}
