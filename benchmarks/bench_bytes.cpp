// Speed and ratio of the byte service on what applications store with it, beside the literal
// reference codec and beside general-purpose compressors.
//
//     bench_bytes [--size 64K,1M] [--data xml,mz] [--codec kyv,reference] [--repeat 5] [--runs]
//
// All codecs take turns within one run, so that a busy machine slows them alike; every figure is
// the median of the repetitions, in processor time of the one thread. Speeds count uncompressed
// bytes, 1 MB is 10^6 of them. Every result is compared with its input: "cut" marks data that did
// not shrink and was cut. Measured runs are read from the folder that KYV_DATA_DIR names; without
// it those rows are missing. --runs measures the XML of each run instead, whole, as an application
// stores it.

#include <ms_compressor/Compressor.h>

#include "mzml/Run.h"
#include "support/Measuring.h"

#ifdef KYV_HAS_BYTE_REFERENCE
#include "ReferenceByteCodec.h"
#endif

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QStringList>

#include <bzlib.h>
#include <lzma.h>
#include <zstd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <vector>

using kyv::bench::median;
using kyv::bench::secondsOf;

namespace {

struct DataSet
{
    QString name;
    QByteArray bytes;
};

struct Codec
{
    QString name;
    std::function<QByteArray(const QByteArray &)> compress;
    std::function<QByteArray(const QByteArray &packed, qsizetype size)> decompress;
};

struct Measured
{
    double compressSeconds = 0;
    double decompressSeconds = 0;
    qsizetype packedBytes = 0;
    bool restored = false;
};

// Data --------------------------------------------------------------------------------------------

/// Sentences of made-up words; a few words make up most of the text, as in a language.
QByteArray textLike(qsizetype size)
{
    std::mt19937 random(20);
    std::vector<QByteArray> words;
    for (int i = 0; i < 6000; ++i) {
        QByteArray word;
        for (int n = 2 + int(random() % 9); n > 0; --n)
            word.append("etaoinshrdlucmfwypvbgkjqxz"[std::min(random() % 26, random() % 26)]);
        words.push_back(word);
    }
    QByteArray text;
    while (text.size() < size) {
        const double uniform = double(random()) / 4294967296.0;
        text.append(words[size_t(std::pow(double(words.size()), uniform)) - 1]);
        text.append(random() % 12 == 0 ? ".\n" : " ");
    }
    return text.left(size);
}

QByteArray randomBytes(qsizetype size)
{
    std::mt19937_64 random(21);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = char(random());
    return bytes;
}

template <typename Number>
void append(QByteArray &plane, qreal value)
{
    const Number number = Number(value);
    plane.append(reinterpret_cast<const char *>(&number), sizeof number);
}

/// One run as the survey gives it to compress(): XML without its arrays, m/z as doubles,
/// intensities as floats.
struct MeasuredRun
{
    QString name;
    QByteArray xml, mz, intensities;
};

/// The runs of the folder that KYV_DATA_DIR names.
std::vector<MeasuredRun> measuredRuns()
{
    const QString folder = qEnvironmentVariable("KYV_DATA_DIR");
    if (folder.isEmpty())
        return {};
    std::vector<MeasuredRun> runs;
    const QDir dir(folder);
    for (const QString &file : dir.entryList({QStringLiteral("*.mzML.gz")}, QDir::Files)) {
        MeasuredRun &run = runs.emplace_back();
        run.name = file.section(QLatin1Char('.'), 0, 0);
        kyv::runs::RunHandlers handlers;
        handlers.textWithoutArrays = [&](const char *text, qsizetype n) {
            run.xml.append(text, n);
        };
        handlers.spectrum = [&](kyv::runs::Spectrum &&spectrum) {
            for (const QPointF &point : spectrum.points) {
                append<double>(run.mz, point.x());
                append<float>(run.intensities, point.y());
            }
            return true;
        };
        kyv::runs::readRun(dir.filePath(file), handlers);
    }
    return runs;
}

/// All kinds of data, of which prefixes are measured; what comes from runs is that of all runs, one
/// after the other.
std::vector<DataSet> allKinds(qsizetype largest)
{
    const std::vector<MeasuredRun> runs = measuredRuns();
    std::vector<DataSet> sets;
    if (!runs.empty()) {
        DataSet xml{QStringLiteral("xml"), {}};
        DataSet mz{QStringLiteral("mz"), {}};
        DataSet intensities{QStringLiteral("intensity"), {}};
        for (const MeasuredRun &run : runs) {
            xml.bytes += run.xml;
            mz.bytes += run.mz;
            intensities.bytes += run.intensities;
        }
        sets = {xml, mz, intensities};
    }
    sets.push_back({QStringLiteral("text"), textLike(largest)});
    sets.push_back({QStringLiteral("random"), randomBytes(largest)});
    return sets;
}

/// The XML of each run.
std::vector<DataSet> xmlOfRuns()
{
    std::vector<DataSet> sets;
    for (const MeasuredRun &run : measuredRuns())
        sets.push_back({run.name, run.xml});
    return sets;
}

// Codecs ------------------------------------------------------------------------------------------

Codec kyvCodec()
{
    const auto compressor = std::make_shared<kyv::compressor::Compressor>();
    return {QStringLiteral("kyv"),
            [compressor](const QByteArray &input) { return compressor->compress(input).data; },
            [compressor](const QByteArray &packed, qsizetype size) {
                kyv::compressor::CompressedData compressed;
                compressed.version = 1;
                compressed.uncompressedSize = qint32(size);
                compressed.data = packed;
                return compressor->decompress(compressed);
            }};
}

#ifdef KYV_HAS_BYTE_REFERENCE
Codec referenceCodec()
{
    using kyv::test::reference::ReferenceByteCodec;
    const auto codec = std::make_shared<ReferenceByteCodec>();
    return {
        QStringLiteral("reference"),
        [codec](const QByteArray &input) { return codec->encode(input, input.size()); },
        [codec](const QByteArray &packed, qsizetype size) { return codec->decode(packed, size); }};
}
#endif

Codec zstdCodec(int level)
{
    return {
        QStringLiteral("zstd -%1").arg(level),
        [level](const QByteArray &input) {
            QByteArray packed(qsizetype(ZSTD_compressBound(size_t(input.size()))),
                              Qt::Uninitialized);
            packed.resize(qsizetype(ZSTD_compress(packed.data(), size_t(packed.size()),
                                                  input.constData(), size_t(input.size()), level)));
            return packed;
        },
        [](const QByteArray &packed, qsizetype size) {
            QByteArray output(size, Qt::Uninitialized);
            ZSTD_decompress(output.data(), size_t(size), packed.constData(), size_t(packed.size()));
            return output;
        }};
}

const uint8_t *bytesOf(const QByteArray &array)
{
    return reinterpret_cast<const uint8_t *>(array.constData());
}

uint8_t *bytesOf(QByteArray &array)
{
    return reinterpret_cast<uint8_t *>(array.data());
}

Codec xzCodec()
{
    return {QStringLiteral("xz -6"),
            [](const QByteArray &input) {
                QByteArray packed(qsizetype(lzma_stream_buffer_bound(size_t(input.size()))),
                                  Qt::Uninitialized);
                size_t position = 0;
                lzma_easy_buffer_encode(6, LZMA_CHECK_CRC32, nullptr, bytesOf(input),
                                        size_t(input.size()), bytesOf(packed), &position,
                                        size_t(packed.size()));
                packed.resize(qsizetype(position));
                return packed;
            },
            [](const QByteArray &packed, qsizetype size) {
                QByteArray output(size, Qt::Uninitialized);
                uint64_t limit = UINT64_MAX;
                size_t from = 0;
                size_t to = 0;
                const lzma_ret status = lzma_stream_buffer_decode(
                    &limit, 0, nullptr, bytesOf(packed), &from, size_t(packed.size()),
                    bytesOf(output), &to, size_t(size));
                return status == LZMA_OK ? output : QByteArray();
            }};
}

Codec bzip2Codec()
{
    return {QStringLiteral("bzip2 -9"),
            [](const QByteArray &input) {
                auto size = unsigned(input.size() + input.size() / 100 + 600);
                QByteArray packed(qsizetype(size), Qt::Uninitialized);
                BZ2_bzBuffToBuffCompress(packed.data(), &size,
                                         const_cast<char *>(input.constData()),
                                         unsigned(input.size()), 9, 0, 0);
                packed.resize(qsizetype(size));
                return packed;
            },
            [](const QByteArray &packed, qsizetype size) {
                QByteArray output(size, Qt::Uninitialized);
                auto written = unsigned(size);
                BZ2_bzBuffToBuffDecompress(output.data(), &written,
                                           const_cast<char *>(packed.constData()),
                                           unsigned(packed.size()), 0, 0);
                return output;
            }};
}

std::vector<Codec> allCodecs()
{
    std::vector<Codec> codecs{kyvCodec()};
#ifdef KYV_HAS_BYTE_REFERENCE
    codecs.push_back(referenceCodec());
#endif
    codecs.insert(codecs.end(), {zstdCodec(3), zstdCodec(19), xzCodec(), bzip2Codec()});
    return codecs;
}

// Measuring ---------------------------------------------------------------------------------------

/// Measures all codecs on \a input in turns. Short input is coded many times at a stretch.
std::vector<Measured> measure(const std::vector<Codec> &codecs, const QByteArray &input, int repeat)
{
    if (input.size() > 4'000'000)
        repeat = std::min(repeat, 3);
    const int calls = int(std::max<qsizetype>(1, 200'000 / std::max<qsizetype>(1, input.size())));
    std::vector<Measured> results(codecs.size());
    std::vector<std::vector<double>> compressTimes(codecs.size()), decompressTimes(codecs.size());
    for (int round = 0; round <= repeat; ++round) {
        for (size_t i = 0; i < codecs.size(); ++i) {
            QByteArray packed, output;
            const double compressSeconds = secondsOf([&] {
                for (int call = 0; call < calls; ++call)
                    packed = codecs[i].compress(input);
            });
            const double decompressSeconds = secondsOf([&] {
                for (int call = 0; call < calls; ++call)
                    output = codecs[i].decompress(packed, input.size());
            });
            results[i].packedBytes = packed.size();
            results[i].restored = output == input;
            if (round == 0 && repeat > 1) // warms up caches and memory
                continue;
            compressTimes[i].push_back(compressSeconds / calls);
            decompressTimes[i].push_back(decompressSeconds / calls);
        }
    }
    for (size_t i = 0; i < codecs.size(); ++i) {
        results[i].compressSeconds = median(compressTimes[i]);
        results[i].decompressSeconds = median(decompressTimes[i]);
    }
    return results;
}

void printHead(const std::vector<Codec> &codecs, int nameWidth)
{
    std::printf("MB/s of uncompressed bytes; speed in multiples of %s's\n",
                qPrintable(codecs.empty() ? QString() : codecs.front().name));
    std::printf("%-*s %9s  %-10s %9s %9s  %8s  %6s %6s\n", nameWidth, "data", "bytes", "codec",
                "compress", "decompr.", "ratio", "c", "d");
}

void print(const DataSet &data, const std::vector<Codec> &codecs,
           const std::vector<Measured> &results, int nameWidth)
{
    for (size_t i = 0; i < codecs.size(); ++i) {
        const Measured &m = results[i];
        const double size = double(data.bytes.size());
        std::printf(
            "%-*s %9lld  %-10s %9.2f %9.2f  %8.3f  %6.2f %6.2f %s\n", nameWidth,
            qPrintable(data.name), static_cast<long long>(data.bytes.size()),
            qPrintable(codecs[i].name), size / m.compressSeconds / 1e6,
            size / m.decompressSeconds / 1e6, size / double(std::max<qsizetype>(1, m.packedBytes)),
            m.compressSeconds > 0 ? results[0].compressSeconds / m.compressSeconds : 0,
            m.decompressSeconds > 0 ? results[0].decompressSeconds / m.decompressSeconds : 0,
            m.restored ? "" : "cut");
    }
    std::fflush(stdout);
}

void printEmptyInput()
{
    const Codec codec = kyvCodec();
    constexpr int calls = 100'000;
    const double seconds = secondsOf([&] {
        for (int i = 0; i < calls; ++i)
            codec.compress({});
    });
    std::printf("empty input: %.3f microseconds\n", seconds / calls * 1e6);
}

qsizetype parseSize(QString text)
{
    qsizetype unit = 1;
    if (text.endsWith(QLatin1Char('K')))
        unit = 1024;
    else if (text.endsWith(QLatin1Char('M')))
        unit = 1024 * 1024;
    if (unit != 1)
        text.chop(1);
    return text.toLongLong() * unit;
}

/// The value behind \a option as a list, or \a otherwise.
QStringList listOption(const char *option, const QString &otherwise)
{
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype at = arguments.indexOf(QLatin1String(option));
    const QString value = at >= 0 && at + 1 < arguments.size() ? arguments[at + 1] : otherwise;
    return value.split(QLatin1Char(','), Qt::SkipEmptyParts);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList sizes = listOption("--size", QStringLiteral("1K,64K,1M,16M"));
    const QStringList names = listOption("--data", {});
    const QStringList codecNames = listOption("--codec", {});
    const int repeat = std::max(1, listOption("--repeat", QStringLiteral("5")).value(0).toInt());

    std::vector<Codec> codecs = allCodecs();
    if (!codecNames.isEmpty())
        std::erase_if(codecs, [&](const Codec &codec) { return !codecNames.contains(codec.name); });
    const bool wholeRuns = QCoreApplication::arguments().contains(QLatin1String("--runs"));
    qsizetype largest = 0;
    for (const QString &size : sizes)
        largest = std::max(largest, parseSize(size));
    const std::vector<DataSet> sets = wholeRuns ? xmlOfRuns() : allKinds(largest);

    qsizetype nameWidth = 10;
    for (const DataSet &set : sets)
        nameWidth = std::max(nameWidth, set.name.size());
    printHead(codecs, int(nameWidth));
    for (const DataSet &set : sets) {
        if (!names.isEmpty() && !names.contains(set.name))
            continue;
        if (wholeRuns) {
            print(set, codecs, measure(codecs, set.bytes, repeat), int(nameWidth));
            continue;
        }
        for (const QString &size : sizes) {
            const DataSet part{set.name, set.bytes.left(parseSize(size))};
            print(part, codecs, measure(codecs, part.bytes, repeat), int(nameWidth));
        }
    }
    printEmptyInput();
    return 0;
}
