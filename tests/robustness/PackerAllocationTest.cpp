// What damaged records make the packer allocate. The executable replaces malloc and watches the
// largest request; sanitizers, which replace it themselves, leave this test out.

#include <ms_compressor/MsDataPacker.h>

#include "PackerSupport.h"
#include "SequentialDevice.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <random>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KYV_NO_ALLOCATION_COUNT
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__GLIBC__)
#define KYV_NO_ALLOCATION_COUNT
#endif

namespace {

std::atomic<std::size_t> largestRequest = 0;

[[maybe_unused]] void note(std::size_t size)
{
    if (size > largestRequest)
        largestRequest = size;
}

} // namespace

#ifndef KYV_NO_ALLOCATION_COUNT
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);

void *malloc(std::size_t size)
{
    note(size);
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size)
{
    note(count * size);
    return __libc_calloc(count, size);
}

void *realloc(void *block, std::size_t size)
{
    note(size);
    return __libc_realloc(block, size);
}
}
#endif

using namespace kyv::compressor;
using namespace kyv::test;

namespace {

class PackerAllocationTest : public testing::Test
{
protected:
    void SetUp() override
    {
#ifdef KYV_NO_ALLOCATION_COUNT
        GTEST_SKIP() << "malloc belongs to a sanitizer";
#endif
    }

    /// The largest request while \a call runs.
    template <typename Call>
    static std::size_t during(Call call)
    {
        largestRequest = 0;
        call();
        return largestRequest;
    }
};

constexpr std::size_t allowance = std::size_t(16) << 20;

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
TEST_F(PackerAllocationTest, ordinaryLists)
{
    std::mt19937 random(3);
    QList<float> list(300000);
    for (float &value : list)
        value = float(random() % 100000);
    const std::size_t listBytes = std::size_t(list.size()) * sizeof(float);
    PackParameters parameters = PackParameters::create(list, PackMethod::RawData);
    EXPECT_LT(during([&] { parameters = PackParameters::create(list, PackMethod::Quantizing); }),
              65536U);
    QByteArray packed;
    EXPECT_LE(
        during([&] { EXPECT_FALSE(MsDataPacker::pack(&packed, list, parameters).hasError()); }),
        listBytes + 65536);
    QList<float> restored;
    EXPECT_LE(during([&] { EXPECT_FALSE(MsDataPacker::unpack(&restored, packed).hasError()); }),
              listBytes + 65536);
    EXPECT_EQ(restored.size(), list.size());
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
