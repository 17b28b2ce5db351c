#include "internal/XStream.h"

#include "internal/BitCompression.h"

#include "CpuLevels.h"
#include "SeededPoints.h"

#include <gtest/gtest.h>

#include <optional>

using namespace kyv::compressor::internal;
using namespace kyv::test;

namespace {

using Read = bool (*)(const PointsPayload &, QPointF *) noexcept;

/// The x patterns that reading gives, or nothing where it fails. The header must be sound.
std::optional<QList<quint64>> patternsBy(Read read, const QByteArray &data)
{
    const auto *bytes = reinterpret_cast<const uchar *>(data.constData());
    const PointsPayload payload{bytes, quint64(data.size()), qFromLittleEndian<quint32>(bytes),
                                qFromLittleEndian<quint32>(bytes + 4)};
    QList<QPointF> points(payload.pointCount);
    if (!read(payload, points.data()))
        return std::nullopt;
    QList<quint64> patterns;
    for (const QPointF &point : points)
        patterns.append(std::bit_cast<quint64>(point.x()));
    return patterns;
}

void expectEqualReading(const QByteArray &data)
{
    ASSERT_EQ(patternsBy(readXStream, data), patternsBy(detail::readXStreamPlain, data));
}

} // namespace

TEST(XStreamTest, everyPathReadsWhatThePlainOneDoes)
{
    for (const CpuLevel &level : cpuLevels()) {
        const LimitedCpuFeatures limited(level.features);
        for (int kind = 0; kind < xKindCount; ++kind) {
            for (const qsizetype count : {1, 27, 28, 29, 57, 300, 2000}) {
                SCOPED_TRACE(testing::Message()
                             << level.name << ", " << name(XKind(kind)) << ", " << count);
                expectEqualReading(BitCompression()
                                       .encode(seededPoints(XKind(kind), YKind::Counts, count, 1))
                                       .value());
            }
        }
    }
}

TEST(XStreamTest, everyPathReadsDamagedStreamsAsThePlainOneDoes)
{
    const quint64 rounds = qEnvironmentVariableIsSet("KYV_THOROUGH") ? 300'000 : 5'000;
    for (const CpuLevel &level : cpuLevels()) {
        const LimitedCpuFeatures limited(level.features);
        for (quint64 seed = 0; seed < rounds; ++seed) {
            SCOPED_TRACE(testing::Message() << level.name << ", seed " << seed);
            SeededRandom random(seed);
            QByteArray data =
                BitCompression()
                    .encode(seededPoints(XKind(random.below(xKindCount)), YKind::Zeros,
                                         qsizetype(1 + random.below(300)), seed))
                    .value();
            const qsizetype behindHeader = data.size() - qsizetype(PointsPayload::headerSize);
            for (quint64 flips = random.below(4); flips > 0; --flips) {
                const qsizetype at = qsizetype(random.below(quint64(behindHeader)));
                data[qsizetype(PointsPayload::headerSize) + at] = char(random.next());
            }
            expectEqualReading(data);
        }
    }
}
