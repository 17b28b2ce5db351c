// What records, damaged ones too, make the packer allocate. Sanitizers, which replace malloc
// themselves, leave this test out.

#include <ms_compressor/MsDataPacker.h>

#include "AllocationWatch.h"
#include "PackerSupport.h"
#include "SequentialDevice.h"

#include <gtest/gtest.h>

#include <random>

using namespace kyv::compressor;
using namespace kyv::test;

namespace {

class PackerAllocationTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!AllocationWatch::isPossible())
            GTEST_SKIP() << "malloc cannot be watched here";
    }

    /// The largest request while \a call runs.
    template <typename Call>
    static std::size_t during(Call call)
    {
        return AllocationWatch::during(call).largest;
    }

    /// The most that is taken at a time while \a call runs.
    template <typename Call>
    static std::size_t peak(Call call)
    {
        return AllocationWatch::during(call).peak;
    }
};

constexpr std::size_t allowance = std::size_t(16) << 20; // for what a record announces
constexpr std::size_t beside = 65536;                    // for a call's own needs

QByteArray integerHead(quint16 blocks, quint16 blockSize, quint16 lastBlockSize, quint8 width,
                       quint8 widthBits)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << blocks << blockSize << lastBlockSize << width << widthBits;
    return bytes;
}

} // namespace

TEST_F(PackerAllocationTest, announcedWordsThatAreMissing)
{
    const QByteArray record = integerHead(65535, 32768, 32767, 32, 0);
    QList<quint32> values;
    EXPECT_LT(during([&] { EXPECT_TRUE(MsDataPacker::unpack(&values, record).hasError()); }),
              allowance);
    QList<float> floats;
    const QByteArray packed = ParameterFields{.bits = 32}.record() + record;
    EXPECT_LT(during([&] { EXPECT_TRUE(MsDataPacker::unpack(&floats, packed).hasError()); }),
              allowance);
}

TEST_F(PackerAllocationTest, announcedBytesOfARawList)
{
    for (const char *length : {"FFFFFFFE", "7FFFFFFF", "80000000", "10000000"}) {
        QByteArray packed =
            QByteArray::fromHex("000100") + QByteArray::fromHex(length) + QByteArray(1000, 'x');
        QList<float> floats;
        EXPECT_LT(during([&] { EXPECT_FALSE(MsDataPacker::unpack(&floats, packed).hasError()); }),
                  allowance);
        EXPECT_TRUE(floats.isEmpty());
        SequentialDevice device(packed);
        QDataStream stream(&device);
        EXPECT_LT(during([&] { EXPECT_FALSE(MsDataPacker::unpack(&floats, stream).hasError()); }),
                  allowance);
        EXPECT_TRUE(floats.isEmpty());
    }
}

// A valid empty list has a scale of 2^31 levels.
TEST_F(PackerAllocationTest, announcedScale)
{
    for (const unsigned bits : {0U, 10U, 32U, 255U}) {
        const ParameterFields fields{.bits = quint8(bits), .bitOffset = 31};
        const QByteArray packed =
            fields.record() + integerHead(1, 32, 3, 31, 0) + QByteArray(12, '\x55');
        QList<float> floats;
        EXPECT_LT(during([&] { EXPECT_FALSE(MsDataPacker::unpack(&floats, packed).hasError()); }),
                  std::size_t(1) << 17);
        EXPECT_EQ(floats.size(), 3);
    }
}

// One call takes the output, the list of quantized levels, and 64 KiB.
TEST_F(PackerAllocationTest, oneCallTakesItsOutputAndItsLevels)
{
    std::mt19937 random(3);
    QList<float> list(300000);
    for (float &value : list)
        value = float(random() % 100000);
    const std::size_t listBytes = std::size_t(list.size()) * sizeof(float);
    for (const PackMethod method : {PackMethod::RawData, PackMethod::Quantizing}) {
        PackParameters parameters = PackParameters::create(list, PackMethod::RawData);
        EXPECT_LE(peak([&] { parameters = PackParameters::create(list, method); }), beside);
        const std::size_t levelBytes = method == PackMethod::RawData ? 0 : listBytes;
        QByteArray packed;
        const std::size_t packing =
            peak([&] { (void)MsDataPacker::pack(&packed, list, parameters); });
        EXPECT_LE(packing, std::size_t(packed.capacity()) + levelBytes + beside);
        QList<float> restored;
        const std::size_t unpacking = peak([&] { (void)MsDataPacker::unpack(&restored, packed); });
        EXPECT_LE(unpacking, listBytes + levelBytes + beside);
        EXPECT_EQ(restored.size(), list.size());
    }
}

// The second list has as many blocks as there can be.
TEST_F(PackerAllocationTest, integersTakeTheirOutput)
{
    for (const qsizetype count : {qsizetype(500), qsizetype(65535) * 32 + 31}) {
        QList<quint32> list(count);
        for (qsizetype i = 0; i < count; ++i)
            list[i] = quint32(i % 1000);
        QByteArray packed;
        const std::size_t packing =
            peak([&] { (void)MsDataPacker::pack(&packed, list.constData(), quint32(count)); });
        EXPECT_LE(packing, std::size_t(packed.capacity()) + beside);
        QList<quint32> restored;
        const std::size_t unpacking = peak([&] { (void)MsDataPacker::unpack(&restored, packed); });
        EXPECT_LE(unpacking, std::size_t(count) * sizeof(quint32) + beside);
        EXPECT_EQ(restored, list);
    }
}

TEST_F(PackerAllocationTest, exhaustedMemoryIsAnError)
{
    const QList<float> floats(1000000, 3.25F);
    QList<quint32> integers(floats.size());
    for (qsizetype i = 0; i < integers.size(); ++i)
        integers[i] = quint32(i);
    const PackParameters raw = PackParameters::create(floats, PackMethod::RawData);
    const AllocationWatch::Refusal refusal(std::size_t(1) << 20);
    QByteArray packed;
    const kyv::Error rawError = MsDataPacker::pack(&packed, floats, raw);
    EXPECT_EQ(rawError.code(), kyv::ErrorCode::InvalidInput);
    EXPECT_EQ(rawError.message(), QStringLiteral("Too many intensities to pack: 1000000"));
    packed.clear();
    const kyv::Error integerError =
        MsDataPacker::pack(&packed, integers.constData(), quint32(integers.size()));
    EXPECT_EQ(integerError.code(), kyv::ErrorCode::InvalidInput);
    EXPECT_EQ(integerError.message(), QStringLiteral("Too many integers to pack: 1000000"));
}

TEST_F(PackerAllocationTest, randomHeads)
{
    std::mt19937 random(11);
    for (int i = 0; i < 300; ++i) {
        QByteArray packed = ParameterFields{.bits = quint8(random())}.record();
        packed += integerHead(quint16(random()), quint16(random() % 128), quint16(random()),
                              quint8(1 + random() % 40), quint8(random() % 8));
        packed += QByteArray(qsizetype(random() % 4000), char(random()));
        QList<float> floats;
        const std::size_t largest = during([&] { (void)MsDataPacker::unpack(&floats, packed); });
        // Missing words up to 64 MiB read as zeros, so the list itself may be taken.
        EXPECT_LE(largest, std::max(std::size_t(floats.capacity()) * 4 + 64,
                                    allowance + 64 * std::size_t(packed.size())));
    }
}
