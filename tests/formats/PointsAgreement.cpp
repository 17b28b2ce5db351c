#include "PointsAgreement.h"

#include "PointBits.h"
#include "ReferenceBitCompression.h"

#include "internal/BitCompression.h"

namespace kyv::test {

bool isInconsistentData(const Error &error)
{
    return error.code() == ErrorCode::InconsistentData
           && error.message() == QStringLiteral("Inconsistent data.") && error.places().size() == 1
           && error.places()[0].function.contains(QStringLiteral("BitCompression::decode"))
           && error.places()[0].file == QStringLiteral("ms_compressor/src/internal/BitCompression")
           && error.places()[0].line == 1045;
}

namespace {

/// True if the literal reader gives \a decoded, the same value or also the error.
bool referenceAgrees(const QByteArray &payload, const Result<QList<QPointF>> &decoded)
{
    const auto literal = reference::decodeBitCompressed(payload);
    if (!decoded.hasValue())
        return !literal.points && isInconsistentData(decoded.error());
    return literal.points && sameBits(decoded.value(), *literal.points);
}

/// The most bytes that a payload of \a count points takes (section 10 of the document).
qsizetype largestPayload(qsizetype count)
{
    return 8 + (count + 3) / 4 + (139 + 73 * count + 7) / 8 + (37 * count + 7) / 8;
}

} // namespace

bool readersAgree(const QByteArray &payload)
{
    return referenceAgrees(payload, compressor::internal::BitCompression().decode(payload));
}

const char *failedProperty(const QList<QPointF> &points, qsizetype literalLimit)
{
    const auto encoded = compressor::internal::BitCompression().encode(points);
    if (!encoded.hasValue())
        return "every list is encoded";
    const QByteArray &payload = encoded.value();
    if (points.size() <= literalLimit && payload != reference::encodeBitCompressed(points))
        return "the codec writes what the reference writes";
    const auto decoded = compressor::internal::BitCompression().decode(payload);
    if (!referenceAgrees(payload, decoded))
        return "the codec reads what the reference reads";
    if (!points.isEmpty() && payload.size() > largestPayload(points.size()))
        return "a payload stays within its bound";
    if (restoresX(points)
        && !(decoded.hasValue() && sameBits(decoded.value(), storedPoints(points))))
        return "a list of one sign and two patterns comes back";
    return nullptr;
}

} // namespace kyv::test
