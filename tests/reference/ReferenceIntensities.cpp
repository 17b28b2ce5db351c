#include "ReferenceIntensities.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kyv::reference {

namespace {

/// x86 conversion of a double to a 32-bit integer, toward zero.
quint32 truncated(double value)
{
    if (std::isnan(value))
        return 0x80000000;
    const double whole = std::trunc(value);
    if (whole < -2147483648.0 || whole > 2147483647.0)
        return 0x80000000;
    return quint32(qint64(whole));
}

/// Bit \a index of a string of words, lowest bit of the first word first.
unsigned bitAt(const std::vector<quint32> &words, quint64 index)
{
    return words[size_t(index / 32)] >> (index % 32) & 1U;
}

/// \a count items of \a width bits, out of as many words of the stream as hold them.
std::vector<quint32> readPackedArray(FieldReader &from, unsigned width, quint64 count)
{
    const quint64 wordCount = (width * count + 31) / 32;
    std::vector<quint32> words(size_t(wordCount), 0);
    for (quint64 i = 0; i < wordCount % 65536; ++i) // the count of words has 16 bits
        words[size_t(i)] = quint32(from.integer(4));
    std::vector<quint32> items;
    for (quint64 item = 0; item < count; ++item) {
        quint32 value = 0;
        for (unsigned bit = 0; bit < width; ++bit)
            value |= bitAt(words, item * width + bit) << bit;
        items.push_back(value);
    }
    return items;
}

quint64 compressedOffsetOf(const Parameters &parameters)
{
    // 1, 2, 4, ... halved, in 16 bits; everything from 2^16 on is cut off.
    const unsigned exponent = parameters.bitOffset % 32;
    return exponent >= 1 && exponent <= 16 ? quint64(1) << (exponent - 1) : 0;
}

quint64 maxCompressedOf(const Parameters &parameters)
{
    return quint64(1) << ((parameters.bits + 31 + parameters.bitOffset) % 32);
}

double topOf(const Parameters &parameters)
{
    return double((compressedOffsetOf(parameters) + maxCompressedOf(parameters)) % 0x100000000);
}

double rangePowerOf(const Parameters &parameters)
{
    const float width = parameters.rawMax - parameters.rawOffset;
    const float f = width / parameters.singleCount;
    return std::pow(double(f), parameters.power);
}

} // namespace

quint64 FieldReader::integer(int size)
{
    if (remaining() < size) {
        m_position = m_bytes.size();
        return 0;
    }
    quint64 value = 0;
    for (int i = 0; i < size; ++i) {
        const int significance = m_kind.littleEndian ? i : size - 1 - i;
        const auto byte = quint8(m_bytes[m_position + i]);
        for (int bit = 0; bit < 8; ++bit)
            value |= quint64(byte >> bit & 1) << (8 * significance + bit);
    }
    m_position += size;
    return value;
}

double FieldReader::real64()
{
    const quint64 bits = integer(8);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

float FieldReader::real32()
{
    const auto bits = quint32(integer(4));
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double FieldReader::realInPrecision()
{
    return m_kind.singlePrecision ? double(real32()) : real64();
}

QByteArray FieldReader::take(qsizetype size)
{
    const QByteArray taken = m_bytes.mid(m_position, size);
    m_position += taken.size();
    return taken;
}

std::optional<Parameters> readParameters(FieldReader &from)
{
    const auto version = unsigned(from.integer(2));
    if (version != 0 && version != 1)
        return std::nullopt;
    Parameters parameters;
    parameters.method = int(from.integer(1));
    if (parameters.method == 1) {
        parameters.bits = unsigned(from.integer(1));
        parameters.bitOffset = unsigned(from.integer(1));
        parameters.power = from.realInPrecision();
        parameters.singleCount = float(from.realInPrecision());
        parameters.rawOffset = float(from.realInPrecision());
        parameters.rawMax = float(from.realInPrecision());
    }
    return parameters;
}

std::optional<std::vector<quint32>> readIntegerList(FieldReader &from)
{
    const quint64 blockCount = from.integer(2);
    if (blockCount == 0)
        return std::vector<quint32>();
    const quint64 blockSize = from.integer(2);
    const quint64 lastBlockSize = from.integer(2);
    const auto smallestWidth = unsigned(from.integer(1));
    const auto widthBits = unsigned(from.integer(1));
    const quint64 length = (blockCount - 1) * blockSize + lastBlockSize;
    if (smallestWidth > 32 || widthBits > 32 || length > 2147450879)
        return std::nullopt;

    std::vector<quint32> widths(size_t(blockCount), 0);
    if (widthBits > 0)
        widths = readPackedArray(from, widthBits, blockCount);
    quint64 wordsAnnounced = 0;
    for (quint64 block = 0; block < blockCount; ++block) {
        quint32 &width = widths[size_t(block)];
        if (quint64(width) + smallestWidth > 32)
            return std::nullopt;
        width += smallestWidth;
        const quint64 size = block + 1 == blockCount ? lastBlockSize : blockSize;
        wordsAnnounced += (width * size + 31) / 32 % 65536;
    }
    const quint64 bytesLeft = quint64(from.remaining());
    if (4 * wordsAnnounced > bytesLeft && 4 * wordsAnnounced - bytesLeft > 64 * 1024 * 1024)
        return std::nullopt;

    std::vector<quint32> values(size_t(length), 0);
    for (quint64 block = 0; block < blockCount; ++block) {
        const quint64 size = block + 1 == blockCount ? lastBlockSize : blockSize;
        const quint32 width = widths[size_t(block)];
        if (width == 0 || size == 0)
            continue;
        const std::vector<quint32> items = readPackedArray(from, width, size);
        std::copy(items.begin(), items.end(), values.begin() + qsizetype(block * blockSize));
    }
    return values;
}

IntensityList readIntensities(const QByteArray &bytes, StreamKind kind)
{
    FieldReader from(bytes, kind);
    const auto parameters = readParameters(from);
    if (!parameters)
        return {Outcome::UnknownVersion, {}};
    IntensityList list;
    if (parameters->method == 0) {
        const quint64 byteCount = from.integer(4);
        if (byteCount == 0xFFFFFFFF || qint64(byteCount) > from.remaining())
            return list;
        FieldReader memory(from.take(qsizetype(byteCount)), StreamKind{true, true});
        for (quint64 i = 0; i < byteCount / 4; ++i)
            list.intensities.push_back(memory.real32());
        return list;
    }
    const auto levels = readIntegerList(from);
    if (!levels)
        return {Outcome::Inconsistent, {}};
    for (const quint32 level : *levels)
        list.intensities.push_back(intensityOf(level, *parameters));
    return list;
}

LevelList readLevels(const QByteArray &bytes, StreamKind kind)
{
    FieldReader from(bytes, kind);
    const auto parameters = readParameters(from);
    if (!parameters)
        return {Outcome::UnknownVersion, {}};
    if (parameters->method == 0)
        return {Outcome::RawList, {}};
    const auto levels = readIntegerList(from);
    return levels ? LevelList{Outcome::Ok, *levels} : LevelList{Outcome::Inconsistent, {}};
}

float singleCountBySorting(const std::vector<float> &intensities)
{
    std::vector<float> differences;
    for (size_t i = 1; i < intensities.size(); ++i) {
        const float difference = std::fabs(intensities[i] - intensities[i - 1]);
        if (difference > 0.5F)
            differences.push_back(difference);
    }
    std::sort(differences.begin(), differences.end());

    struct Group
    {
        float base;
        quint64 count;
    };
    std::vector<Group> groups;
    double base = 0;
    for (const float difference : differences) {
        if (2 * base > double(difference)) {
            ++groups.back().count;
        } else {
            groups.push_back({difference, 1});
            base = double(difference);
        }
    }
    const auto threshold = float(differences.size() / 50);
    float sum = 0;
    for (const Group &group : groups) {
        sum += float(group.count);
        if (double(group.base) > 0.01 && sum >= threshold)
            return group.base;
    }
    return 0;
}

Parameters deriveParameters(const std::vector<float> &intensities)
{
    Parameters parameters;
    parameters.method = 1;
    if (intensities.empty())
        return parameters;
    parameters.rawOffset = parameters.rawMax = intensities.front();
    bool found = false;
    for (const float intensity : intensities) {
        if (std::isnan(intensity))
            continue;
        if (!found || intensity < parameters.rawOffset)
            parameters.rawOffset = intensity;
        if (!found || intensity >= parameters.rawMax)
            parameters.rawMax = intensity;
        found = true;
    }
    parameters.singleCount = singleCountBySorting(intensities);
    const double a = 1;
    const double b = 1023;
    const double range = double(parameters.rawMax) / double(parameters.singleCount);
    const double k = (std::log(a) / std::log(b) + 1) / std::log(range);
    double p = std::log(b) * k;
    if (p > 0.8)
        p = std::log(double(qint32(truncated(std::ceil(std::exp(0.8 / k)))))) * k;
    parameters.power = std::isnan(p) ? 0.8 : p;
    parameters.bits = 10;
    return parameters;
}

quint32 levelOf(float intensity, const Parameters &parameters)
{
    if (std::isnan(intensity) || intensity <= 0)
        return 0;
    const double scale = topOf(parameters) / rangePowerOf(parameters);
    const float above = intensity - parameters.rawOffset;
    const double atLeastZero = double(above) < 0 ? 0 : double(above);
    const double y = atLeastZero / double(parameters.singleCount);
    const double v = std::pow(y, parameters.power) * scale;
    const quint32 rounded = truncated(v > 0 ? v + 0.5 : v - 0.5);
    return quint32(rounded - compressedOffsetOf(parameters));
}

float intensityOf(quint32 level, const Parameters &parameters)
{
    if (level == 0)
        return 0;
    const double k = rangePowerOf(parameters) * (1.0 / topOf(parameters));
    const double e = 1.0 / parameters.power;
    const auto shifted = qint32(quint32(compressedOffsetOf(parameters) + level));
    const double counts = std::pow(double(shifted) * k, e);
    const double product = counts * double(parameters.singleCount);
    return float(product + double(parameters.rawOffset));
}

} // namespace kyv::reference
