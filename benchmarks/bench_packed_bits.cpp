// Speed of packed bits and integer lists, beside copies, streamvbyte and zstd on the same integers.
//
// Every round measures the baseline and then the subject, and the tables hold medians over the
// rounds of the two speeds' quotient. Times are the thread's own processor time, so that other
// work on the machine disturbs little. Bytes are the integers' own, 4 each, whatever the codec
// makes of them.

#include "internal/BitsRequired.h"
#include "internal/CpuFeatures.h"
#include "internal/IntegerList.h"
#include "internal/PackedBitKernels.h"
#include "support/Measuring.h"
#include "support/Spectra.h"

#include <ms_compressor/MsDataPacker.h>

#include <QDataStream>
#include <QIODevice>

#include <zstd.h>

#ifdef KYV_BENCH_STREAMVBYTE
#include <streamvbyte.h>
#endif

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

using namespace kyv::compressor::internal;
using kyv::bench::keep;
using kyv::bench::memcpySubject;
using kyv::bench::secondsOf;
using kyv::bench::Subject;
using kyv::bench::Workload;
using kyv::compressor::MsDataPacker;
using kyv::compressor::PackMethod;
using kyv::compressor::PackParameters;

namespace {

constexpr int rounds = 15;

/// The speed of \a subject as a fraction of that of \a baseline.
double fraction(const Subject &baseline, const Subject &subject)
{
    return kyv::bench::measure(baseline, subject, rounds).fraction;
}

double gigabytesPerSecond(const Subject &subject)
{
    double best = 0;
    for (int round = 0; round < rounds; ++round)
        best = std::max(best, subject.bytes / secondsOf(subject.work) / 1e9);
    return best;
}

// ---- kernels -------------------------------------------------------------------------------

constexpr quint32 runItems = 64 * 1024; // 256 KiB, so that items and words stay in L2
constexpr int repetitions = 40;

/// Work repeated often enough to be timed.
Subject repeated(const std::function<void()> &work)
{
    return {4.0 * runItems * repetitions, [work] {
                for (int i = 0; i < repetitions; ++i)
                    work();
            }};
}

void printKernels()
{
    std::vector<quint32> items(runItems);
    std::vector<quint32> words(runItems);
    std::vector<quint32> target(runItems);
    const Subject copy = repeated([&] {
        std::memcpy(target.data(), items.data(), 4 * std::size_t(runItems));
        keep(target.data());
    });
    const CpuFeatures here = cpuFeatures();
    std::printf("Long runs in L2, fraction of a copy of the items (%.0f GB/s); vector paths:"
                " AVX2 %s, AVX-512 %s\n\n",
                gigabytesPerSecond(copy), here.avx2 ? "yes" : "no", here.avx512 ? "yes" : "no");
    std::printf("| width | pack, plain | unpack, plain | pack, vector | unpack, vector |\n"
                "|---|---|---|---|---|\n");
    std::mt19937 random(1);
    for (int width = 1; width <= widestItem; ++width) {
        for (quint32 &item : items)
            item = quint32(random()) >> (32 - width);
        const Subject pack = repeated([&] {
            packRun(width, words.data(), 0, items.data(), runItems);
            keep(words.data());
        });
        const Subject unpack = repeated([&] {
            unpackRun(width, words.data(), words.data() + words.size(), 0, target.data(), runItems);
            keep(target.data());
        });
        limitCpuFeatures({});
        const double plainPack = fraction(copy, pack);
        const double plainUnpack = fraction(copy, unpack);
        limitCpuFeatures(here);
        std::printf("| %d | %.2f | %.2f | %.2f | %.2f |\n", width, plainPack, plainUnpack,
                    fraction(copy, pack), fraction(copy, unpack));
    }
}

void printBitsRequired()
{
    std::vector<quint32> items(runItems, 1000);
    quint32 result = 0;
    const Subject sum = repeated([&] {
        result += std::accumulate(items.begin(), items.end(), 0u);
        keep(&result);
    });
    const Subject bits = repeated([&] {
        result += bitsRequired(items.data(), items.size());
        keep(&result);
    });
    std::printf("\nbitsRequired, fraction of a sum of the same values in L2: %.2f\n",
                fraction(sum, bits));
}

// ---- lists ---------------------------------------------------------------------------------

using Lists = std::vector<QList<quint32>>;

/// The quantized levels of a spectrum; nothing if its parameters are of no use.
QList<quint32> levelsOf(const QList<QPointF> &points)
{
    QList<float> intensities;
    for (const QPointF &point : points)
        intensities.append(float(point.y()));
    const PackParameters parameters =
        MsDataPacker::calculateParameters(intensities, PackMethod::Quantizing);
    QByteArray packed;
    if (!(parameters.singleCount() > 0)
        || MsDataPacker::pack(&packed, intensities, parameters).hasError())
        return {};
    auto raw = MsDataPacker::unpackRaw(packed);
    return raw.hasValue() ? raw.value().intensities : QList<quint32>();
}

/// The levels of a workload, a list a spectrum; where \a joinedLength is not 0, joined to lists of
/// at least that many values.
Lists listsOf(const Workload &workload, qsizetype joinedLength)
{
    constexpr qsizetype enough = 4000000;
    Lists lists;
    qsizetype values = 0;
    for (const QList<QPointF> &points : workload.spectra) {
        const QList<quint32> levels = levelsOf(points);
        values += levels.size();
        if (!lists.empty() && lists.back().size() < joinedLength)
            lists.back() += levels;
        else if (!levels.isEmpty())
            lists.push_back(levels);
        if (values > enough)
            break;
    }
    if (lists.size() > 1 && lists.back().size() < joinedLength)
        lists.pop_back();
    return lists;
}

double bytesOf(const Lists &lists)
{
    double bytes = 0;
    for (const QList<quint32> &list : lists)
        bytes += 4.0 * double(list.size());
    return bytes;
}

/// The measured row of a codec: bytes a value, and speeds as fractions of memcpy.
struct Row
{
    double bytesPerValue;
    double pack;
    double unpack;
};

/// \a pack fills a buffer with the packed list and \a unpack reads it back.
Row measure(const Lists &lists,
            const std::function<void(const QList<quint32> &, QByteArray *)> &pack,
            const std::function<void(const QByteArray &, QList<quint32> *)> &unpack)
{
    std::vector<QByteArray> packed(lists.size());
    double packedBytes = 0;
    for (std::size_t i = 0; i < lists.size(); ++i) {
        pack(lists[i], &packed[i]);
        packedBytes += double(packed[i].size());
    }
    const double bytes = bytesOf(lists);
    const int passes = int(std::max(1.0, 4e6 / bytes));
    QByteArray record;
    QList<quint32> values;
    const Subject packing = {bytes * passes, [&] {
                                 for (int pass = 0; pass < passes; ++pass) {
                                     for (const QList<quint32> &list : lists)
                                         pack(list, &record);
                                 }
                             }};
    const Subject unpacking = {bytes * passes, [&] {
                                   for (int pass = 0; pass < passes; ++pass) {
                                       for (const QByteArray &one : packed)
                                           unpack(one, &values);
                                   }
                               }};
    return {4 * packedBytes / bytes, fraction(memcpySubject(), packing),
            fraction(memcpySubject(), unpacking)};
}

Row measureIntegerList(const Lists &lists)
{
    return measure(
        lists,
        [](const QList<quint32> &list, QByteArray *record) {
            record->resize(0);
            QDataStream stream(record, QIODevice::WriteOnly);
            writeIntegerList(stream, list.constData(), quint32(list.size()));
        },
        [](const QByteArray &record, QList<quint32> *values) {
            QDataStream stream(record);
            readIntegerList(stream, values);
        });
}

#ifdef KYV_BENCH_STREAMVBYTE
/// streamvbyte in one of its two forms: 1 to 4 bytes a value, or 0, 1, 2 or 4.
template <auto encode, auto decode>
Row measureStreamVByte(const Lists &lists)
{
    return measure(
        lists,
        [](const QList<quint32> &list, QByteArray *record) {
            const quint32 count = quint32(list.size());
            record->resize(qsizetype(4 + streamvbyte_max_compressedbytes(count)));
            std::memcpy(record->data(), &count, 4);
            const std::size_t size =
                encode(list.constData(), count, reinterpret_cast<uint8_t *>(record->data()) + 4);
            record->resize(qsizetype(4 + size));
        },
        [](const QByteArray &record, QList<quint32> *values) {
            quint32 count = 0;
            std::memcpy(&count, record.constData(), 4);
            values->resize(count);
            decode(reinterpret_cast<const uint8_t *>(record.constData()) + 4, values->data(),
                   count);
        });
}
#endif

Row measureZstd(const Lists &lists)
{
    ZSTD_CCtx *const compression = ZSTD_createCCtx();
    ZSTD_DCtx *const decompression = ZSTD_createDCtx();
    const Row row = measure(
        lists,
        [compression](const QList<quint32> &list, QByteArray *record) {
            const std::size_t bytes = 4 * std::size_t(list.size());
            record->resize(qsizetype(ZSTD_compressBound(bytes)));
            record->resize(qsizetype(ZSTD_compressCCtx(compression, record->data(),
                                                       std::size_t(record->size()),
                                                       list.constData(), bytes, 3)));
        },
        [decompression](const QByteArray &record, QList<quint32> *values) {
            const std::size_t size = std::size_t(record.size());
            const auto bytes = ZSTD_getFrameContentSize(record.constData(), size);
            values->resize(qsizetype(bytes / 4));
            ZSTD_decompressDCtx(decompression, values->data(), bytes, record.constData(), size);
        });
    ZSTD_freeCCtx(compression);
    ZSTD_freeDCtx(decompression);
    return row;
}

void printRow(const std::string &name, const Lists &lists, const char *codec, const Row &row)
{
    const double values = bytesOf(lists) / 4;
    std::printf("| %s | %.0f | %s | %.2f | %.2f | %.2f |\n", name.c_str(),
                values / double(lists.size()), codec, row.bytesPerValue, row.pack, row.unpack);
}

void printLists(const std::string &name, const Lists &lists)
{
    if (lists.empty())
        return;
    printRow(name, lists, "integer list", measureIntegerList(lists));
    const CpuFeatures here = cpuFeatures();
    limitCpuFeatures({});
    printRow(name, lists, "integer list, plain", measureIntegerList(lists));
    limitCpuFeatures(here);
#ifdef KYV_BENCH_STREAMVBYTE
    printRow(name, lists, "streamvbyte",
             measureStreamVByte<streamvbyte_encode, streamvbyte_decode>(lists));
    printRow(name, lists, "streamvbyte 0124",
             measureStreamVByte<streamvbyte_encode_0124, streamvbyte_decode_0124>(lists));
#endif
    printRow(name, lists, "zstd -3", measureZstd(lists));
    std::fflush(stdout);
}

} // namespace

int main()
{
    printKernels();
    printBitsRequired();

    std::printf("\nLists of quantized levels, speeds as fractions of memcpy (%.1f GB/s)\n\n",
                gigabytesPerSecond(memcpySubject()));
    std::printf("| run | values a list | codec | bytes a value | pack | unpack |\n"
                "|---|---|---|---|---|---|\n");
    for (const Workload &workload : kyv::bench::pointWorkloads()) {
        const bool isShort = workload.name.endsWith(QLatin1String(" short"));
        if (!workload.name.endsWith(QLatin1String(" cut")))
            printLists(workload.name.toStdString(), listsOf(workload, isShort ? 0 : 20000));
    }
    return 0;
}
