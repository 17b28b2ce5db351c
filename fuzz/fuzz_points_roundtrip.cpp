// Any list of points through the bit codec: what tests/formats/PointsAgreement.h says holds.
//
// The first byte chooses how the rest becomes points: whole patterns, or small steps that keep the
// forecasts going, or a seeded list of one of the kinds that the tests use.

#include "PointBits.h"
#include "PointsAgreement.h"
#include "SeededPoints.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace kyv::test;

namespace {

/// Takes integers from the front of the input; zeros behind its end.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_data(data)
        , m_left(size)
    {}

    bool isEmpty() const { return m_left == 0; }

    quint64 take(int byteCount)
    {
        quint64 value = 0;
        for (int i = 0; i < byteCount && m_left > 0; ++i, --m_left)
            value |= quint64(*m_data++) << (8 * i);
        return value;
    }

private:
    const std::uint8_t *m_data;
    std::size_t m_left;
};

QList<QPointF> wholePatterns(Input &input)
{
    QList<QPointF> points;
    while (!input.isEmpty()) {
        const double x = fromPattern(input.take(8));
        points.append(QPointF(x, fromPattern(input.take(8))));
    }
    return points;
}

/// A y out of one byte: every kind that the format tells apart, zeros most often.
double smallY(quint64 byte)
{
    if (byte < 128)
        return byte % 2 == 0 ? 0.0 : double(byte);
    const quint32 bits = quint32(0x3f800000 + ((byte & 31) << (byte % 27)));
    return double(std::bit_cast<float>(byte < 192 ? bits : bits | 0x80000000));
}

/// Adds a signed byte, shifted, to the x pattern or to one of its first three differences.
QList<QPointF> smallSteps(Input &input)
{
    QList<QPointF> points;
    quint64 x = input.take(8);
    std::array<quint64, 3> differences{input.take(5), input.take(3), 0};
    while (!input.isEmpty()) {
        const quint64 choice = input.take(1);
        const quint64 change = quint64(qint64(qint8(input.take(1)))) << (choice >> 2);
        if (choice % 4 == 3)
            x += change;
        else
            differences[choice % 4] += change;
        differences[1] += differences[2];
        differences[0] += differences[1];
        x += differences[0];
        points.append(QPointF(fromPattern(x), smallY(input.take(1))));
    }
    return points;
}

QList<QPointF> seeded(Input &input, qsizetype fewest, quint64 range)
{
    const auto x = XKind(input.take(1) % xKindCount);
    const auto y = YKind(input.take(1) % yKindCount);
    const qsizetype count = fewest + qsizetype(input.take(2) % range);
    return seededPoints(x, y, count, input.take(8));
}

QList<QPointF> pointsFrom(Input input)
{
    const quint64 choice = input.take(1);
    if (choice == 255)
        return seeded(input, 240, 60); // some with groups written in the middle of a run
    if (choice % 8 == 0)
        return seeded(input, 0, 30);
    return choice % 8 < 4 ? wholePatterns(input) : smallSteps(input);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr qsizetype literalLimit = 30;
    const QList<QPointF> points = pointsFrom(Input(data, size));
    if (const char *failed = failedProperty(points, literalLimit)) {
        std::fprintf(stderr, "does not hold: %s\n", failed);
        std::abort();
    }
    return 0;
}
