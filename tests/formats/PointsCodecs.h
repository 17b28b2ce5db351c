#pragma once

#include "BitFields.h"
#include "PointBits.h"
#include "PointsAgreement.h"
#include "ReferenceBitCompression.h"

#include "internal/BitCompression.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

// The two readings of the bit-compressed payload side by side: the library's codec and the literal
// reference. A test that asks one asks the other.

namespace kyv::test::reference {

inline void PrintTo(const WidthGroup &group, std::ostream *out)
{
    *out << group.count << " of " << group.width << " bits";
}

} // namespace kyv::test::reference

namespace kyv::test {

inline constexpr char inconsistentText[] = "inconsistent";

/// The payload that the library's codec makes.
inline QByteArray encoded(const QList<QPointF> &points)
{
    const auto payload = compressor::internal::BitCompression().encode(points);
    EXPECT_TRUE(payload.hasValue());
    return payload.hasValue() ? payload.value() : QByteArray();
}

/// What the library's codec decodes, as exactText(), or inconsistentText.
inline std::string decodedText(const QByteArray &payload)
{
    const auto points = compressor::internal::BitCompression().decode(payload);
    if (points.hasValue())
        return exactText(points.value());
    EXPECT_TRUE(isInconsistentData(points.error()));
    return inconsistentText;
}

/// The same by the reference.
inline std::string referenceText(const QByteArray &payload)
{
    const auto decoded = reference::decodeBitCompressed(payload);
    return decoded.points ? exactText(*decoded.points) : inconsistentText;
}

/// A payload written down field by field: \a orders has one digit a point, and each stream is
/// padded to whole bytes.
inline QByteArray payloadFromFields(const QByteArray &orders, const QList<BitField> &xStream,
                                    const QList<BitField> &yStream)
{
    QByteArray codes((orders.size() + 3) / 4, '\0');
    for (qsizetype i = 0; i < orders.size(); ++i) {
        const int code = orders[i] - '0';
        codes[i / 4] = char(quint8(codes[i / 4]) | (code << (6 - 2 * (i % 4))));
    }
    const QByteArray x = bitString(xStream);
    const quint64 yOffset = quint64(8 + codes.size() + x.size());
    return bitString({{quint64(orders.size()), 32}, {yOffset, 32}}) + codes + x
           + bitString(yStream);
}

} // namespace kyv::test
