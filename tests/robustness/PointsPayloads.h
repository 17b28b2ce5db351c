#pragma once

#include "PointsCodecs.h"
#include "SeededPoints.h"

namespace kyv::test {

/// A hundred payloads of at most 2 KiB, of all kinds of points: what the robustness tests damage.
inline QList<QByteArray> payloadsToDamage()
{
    QList<QByteArray> payloads;
    for (quint64 i = 0; payloads.size() < 100; ++i) {
        const auto x = XKind(i % xKindCount);
        const auto y = YKind(i / 3 % yKindCount);
        const qsizetype count = i % 10 == 9 ? 300 : 1 + qsizetype(SeededRandom(i).below(40));
        const QByteArray payload = encoded(seededPoints(x, y, count, i));
        if (payload.size() <= 2048)
            payloads.append(payload);
    }
    return payloads;
}

} // namespace kyv::test
