#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <array>
#include <cstddef>

namespace kyv::test {

/// A generator of 64-bit numbers from a seed, by integer arithmetic alone (splitmix64).
class SeededNumbers
{
public:
    explicit SeededNumbers(quint64 seed)
        : m_state(seed)
    {}

    quint64 next()
    {
        quint64 z = (m_state += 0x9E3779B97F4A7C15);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }

    int below(int bound) { return int(next() % quint64(bound)); }

private:
    quint64 m_state;
};

/// The kinds of input that the byte service is tested with.
enum class ByteKind {
    Random,
    Runs,
    SmallAlphabet,
    Skewed,
    Text,
    Xml,
    MzPlane,
    IntensityPlane,
    Repeats,
    Churn,
};

inline constexpr int ByteKindCount = 10;

/// \a size bytes of one kind; the same seed gives the same bytes everywhere.
inline QByteArray seededBytes(ByteKind kind, qsizetype size, quint64 seed)
{
    SeededNumbers numbers(seed * quint64(ByteKindCount) + quint64(kind));
    QByteArray bytes;
    bytes.reserve(size + 64);
    const auto appendNumber = [&](quint64 number, int byteCount) {
        for (int i = 0; i < byteCount; ++i)
            bytes.append(char((number >> (8 * i)) & 0xFF));
    };
    static const char *const words[] = {
        "spectrum ", "scan ", "the ",       "mass ", "of ",  "intensity ", "array, ", "ion ",
        "and ",      "MS2 ",  "precursor ", "to ",   "in\n", "a ",         "peak. ",  "0.05 "};
    quint64 value = numbers.next();
    quint64 step = 0;
    for (qsizetype item = 0; bytes.size() < size; ++item) {
        switch (kind) {
        case ByteKind::Random:
            appendNumber(numbers.next(), 8);
            break;
        case ByteKind::Runs: {
            const char symbol =
                char(numbers.below(256)); // drawn one by one: arguments have no order
            bytes.append(1 + numbers.below(300), symbol);
            break;
        }
        case ByteKind::SmallAlphabet:
            bytes.append("acgt"[numbers.below(4)]);
            break;
        case ByteKind::Skewed: // mostly one symbol, so that binary contexts saturate
            bytes.append(numbers.below(40) == 0 ? char(numbers.below(256)) : char(0x61));
            break;
        case ByteKind::Text:
            bytes.append(words[numbers.below(numbers.below(16) + 1)]);
            break;
        case ByteKind::Xml:
            bytes.append("<cvParam cvRef=\"MS\" accession=\"MS:1000");
            bytes.append(QByteArray::number(100 + numbers.below(900)));
            bytes.append("\" name=\"").append(words[numbers.below(16)]).append("\" value=\"");
            bytes.append(QByteArray::number(item)).append("\"/>\n");
            break;
        case ByteKind::MzPlane: // doubles between 64 and 2048 that rise slowly
            step += numbers.next() >> 20;
            appendNumber(0x4050000000000000 + step % 0x0050000000000000, 8);
            break;
        case ByteKind::IntensityPlane: // floats that decay from a peak, and zeros
            value = numbers.below(12) == 0 ? numbers.next() >> 34 : value - (value >> 3);
            appendNumber(numbers.below(3) == 0 ? 0 : 0x42000000 + (value & 0x03FFFFFF), 4);
            break;
        case ByteKind::Repeats: {
            const qsizetype back = 1 + numbers.below(5000);
            if (back < bytes.size() && numbers.below(4) != 0)
                bytes.append(bytes.mid(bytes.size() - back, 1 + numbers.below(60)));
            else
                appendNumber(numbers.next(), 3);
            break;
        }
        case ByteKind::Churn: // a crowded context whose rare states come and go, memory short
            bytes.append("xy");
            bytes.append(numbers.below(6) != 0 ? 'z' : char(numbers.below(numbers.below(235) + 1)));
            for (int i = numbers.below(16); i > 0; --i)
                bytes.append(char(numbers.below(239)));
            break;
        }
    }
    bytes.truncate(size);
    return bytes;
}

} // namespace kyv::test
