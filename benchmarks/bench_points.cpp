// Speed of the points service on measured spectra, beside memcpy, zstd and zlib in the same run.
//
// Every benchmark works through all spectra of a workload, one call each, as an application does.
// Bytes are the points' own, 16 each, whatever the codec makes of them, so speeds compare directly.
// zstd and zlib pack the planar payload with contexts and buffers that are made once; the planar
// layout itself is not charged to them. The table at the end holds medians over the repetitions.

#include "support/MemcpyBaseline.h"
#include "support/Spectra.h"
#include "support/SpeedTable.h"

#include <ms_compressor/PointsCompressor.h>

#include <benchmark/benchmark.h>
#include <zlib.h>
#include <zstd.h>

#include <QByteArray>

#include <memory>
#include <string>

using kyv::bench::SpeedTable;
using kyv::bench::Workload;
using kyv::compressor::CompressedPointsData;
using kyv::compressor::PointsCompressionMethod;
using kyv::compressor::PointsCompressor;

namespace {

/// A workload with everything that is prepared once: what its decoders read.
struct Prepared
{
    Workload workload;
    std::vector<CompressedPointsData> planar;
    std::vector<CompressedPointsData> bitCompressed;
};

std::vector<CompressedPointsData> encodeAll(const Workload &workload,
                                            PointsCompressionMethod method)
{
    std::vector<CompressedPointsData> records;
    for (const QList<QPointF> &points : workload.spectra)
        records.push_back(PointsCompressor().encode(points, method).value());
    return records;
}

qint64 payloadBytes(const std::vector<CompressedPointsData> &records)
{
    qint64 bytes = 0;
    for (const CompressedPointsData &record : records)
        bytes += record.data.size();
    return bytes;
}

// The library

void encodePoints(benchmark::State &state, const Prepared &prepared, PointsCompressionMethod method)
{
    PointsCompressor compressor;
    for (auto _ : state) {
        for (const QList<QPointF> &points : prepared.workload.spectra)
            benchmark::DoNotOptimize(compressor.encode(points, method).value().data.constData());
    }
}

void decodePoints(benchmark::State &state, const std::vector<CompressedPointsData> &records)
{
    PointsCompressor compressor;
    for (auto _ : state) {
        for (const CompressedPointsData &record : records)
            benchmark::DoNotOptimize(compressor.decode(record).value().constData());
    }
}

// The peers: any codec from bytes to bytes

class Peer
{
public:
    virtual ~Peer() = default;
    virtual size_t bound(size_t size) = 0;
    virtual size_t compress(const QByteArray &bytes, QByteArray &packed) = 0;
    virtual void decompress(const char *packed, size_t size, QByteArray &bytes) = 0;
};

class Zstd : public Peer
{
public:
    size_t bound(size_t size) override { return ZSTD_compressBound(size); }
    size_t compress(const QByteArray &bytes, QByteArray &packed) override
    {
        return ZSTD_compressCCtx(m_compress.get(), packed.data(), size_t(packed.size()),
                                 bytes.constData(), size_t(bytes.size()), 3);
    }
    void decompress(const char *packed, size_t size, QByteArray &bytes) override
    {
        ZSTD_decompressDCtx(m_decompress.get(), bytes.data(), size_t(bytes.size()), packed, size);
    }

private:
    std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> m_compress{ZSTD_createCCtx(),
                                                                    ZSTD_freeCCtx};
    std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> m_decompress{ZSTD_createDCtx(),
                                                                      ZSTD_freeDCtx};
};

class Zlib : public Peer
{
public:
    size_t bound(size_t size) override { return compressBound(size); }
    size_t compress(const QByteArray &bytes, QByteArray &packed) override
    {
        uLongf size = uLongf(packed.size());
        compress2(reinterpret_cast<Bytef *>(packed.data()), &size,
                  reinterpret_cast<const Bytef *>(bytes.constData()), uLong(bytes.size()), 6);
        return size;
    }
    void decompress(const char *packed, size_t size, QByteArray &bytes) override
    {
        uLongf length = uLongf(bytes.size());
        uncompress(reinterpret_cast<Bytef *>(bytes.data()), &length,
                   reinterpret_cast<const Bytef *>(packed), uLong(size));
    }
};

/// Packs the planar payload of every spectrum into \a packed; returns the bytes that it takes.
size_t packAll(Peer &peer, const Prepared &prepared, std::vector<QByteArray> *packed)
{
    size_t sum = 0;
    QByteArray buffer;
    for (const CompressedPointsData &record : prepared.planar) {
        buffer.resize(qsizetype(peer.bound(size_t(record.data.size()))));
        const size_t size = peer.compress(record.data, buffer);
        if (packed)
            packed->push_back(buffer.left(qsizetype(size)));
        sum += size;
    }
    return sum;
}

void encodePeer(benchmark::State &state, Peer &peer, const Prepared &prepared)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(packAll(peer, prepared, nullptr));
}

void decodePeer(benchmark::State &state, Peer &peer, const Prepared &prepared)
{
    std::vector<QByteArray> packed;
    packAll(peer, prepared, &packed);
    QByteArray bytes;
    for (auto _ : state) {
        for (size_t i = 0; i < packed.size(); ++i) {
            bytes.resize(prepared.planar[i].data.size());
            peer.decompress(packed[i].constData(), size_t(packed[i].size()), bytes);
            benchmark::DoNotOptimize(bytes.constData());
        }
    }
}

// The list of what is measured

template <typename Function>
void add(const Prepared &prepared, const char *codec, const char *direction, Function function)
{
    const std::string name =
        SpeedTable::benchmarkName(prepared.workload.name.toStdString(), codec, direction);
    const int64_t bytes = prepared.workload.pointBytes();
    benchmark::RegisterBenchmark(name.c_str(), [function, bytes](benchmark::State &state) {
        function(state);
        state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
    });
}

void addWorkload(SpeedTable &table, const Prepared &prepared, Peer &zstd, Peer &zlib)
{
    const std::string name = prepared.workload.name.toStdString();
    const auto describe = [&](const char *codec, double bytes) {
        table.describe(name, codec, prepared.workload.spectra.size(),
                       size_t(prepared.workload.points()), bytes);
    };
    describe("method 2", double(payloadBytes(prepared.bitCompressed)));
    describe("method 1", double(payloadBytes(prepared.planar)));
    describe("zstd -3", double(packAll(zstd, prepared, nullptr)));
    describe("zlib -6", double(packAll(zlib, prepared, nullptr)));

    using Method = PointsCompressionMethod;
    add(prepared, "method 2", "encode", [&prepared](benchmark::State &state) {
        encodePoints(state, prepared, Method::PlanarDoubleFloatBitCompressedV1);
    });
    add(prepared, "method 2", "decode",
        [&prepared](benchmark::State &state) { decodePoints(state, prepared.bitCompressed); });
    add(prepared, "method 1", "encode", [&prepared](benchmark::State &state) {
        encodePoints(state, prepared, Method::PlanarDoubleFloat);
    });
    add(prepared, "method 1", "decode",
        [&prepared](benchmark::State &state) { decodePoints(state, prepared.planar); });
    const auto addPeer = [&prepared](Peer &peer, const char *codec) {
        add(prepared, codec, "encode",
            [&prepared, &peer](benchmark::State &state) { encodePeer(state, peer, prepared); });
        add(prepared, codec, "decode",
            [&prepared, &peer](benchmark::State &state) { decodePeer(state, peer, prepared); });
    };
    addPeer(zstd, "zstd -3");
    addPeer(zlib, "zlib -6");
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;

    Zstd zstd;
    Zlib zlib;
    SpeedTable table;
    std::vector<std::unique_ptr<Prepared>> prepared;
    benchmark::RegisterBenchmark(SpeedTable::memcpyName, kyv::bench::measureMemcpy);
    for (Workload &workload : kyv::bench::pointWorkloads()) {
        prepared.push_back(std::make_unique<Prepared>());
        Prepared &entry = *prepared.back();
        entry.workload = std::move(workload);
        entry.planar = encodeAll(entry.workload, PointsCompressionMethod::PlanarDoubleFloat);
        entry.bitCompressed =
            encodeAll(entry.workload, PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1);
        addWorkload(table, entry, zstd, zlib);
    }
    benchmark::RunSpecifiedBenchmarks(&table);
    table.print();
    benchmark::Shutdown();
    return 0;
}
