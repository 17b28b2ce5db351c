// The parameters of the points service and their JSON object, docs/formats/points-json.md.
//
// The object is versioned and names the method by its text, so that it stays readable when
// numbers are added. Writing and reading refuse an unknown method with texts of their own:
// "Unhandled" is what this program cannot write, "Unsupported" what it cannot read.

#include <ms_compressor/PointsCompressionParameters.h>

#include "PointsMethodNames.h"
#include "internal/ErrorSite.h"

#include <QJsonValue>

#include <optional>

namespace kyv::compressor {

namespace pointsMethodNames {
const QString interleavedDoubleDouble = QStringLiteral("interleaved_double_double");
const QString planarDoubleFloat = QStringLiteral("planar_double_float");
const QString planarDoubleFloatBitCompressedV1 =
    QStringLiteral("planar_double_float_bit_compressed_v1");
const QString planarDoubleFloatZipCompressedV1 =
    QStringLiteral("planar_double_float_zip_compressed_v1");
} // namespace pointsMethodNames

namespace {

const QString versionKey = QStringLiteral("version");
const QString methodKey = QStringLiteral("method");
constexpr int currentVersion = 1;

constexpr PointsCompressionMethod allMethods[] = {
    PointsCompressionMethod::InterleavedDoubleDouble,
    PointsCompressionMethod::PlanarDoubleFloat,
    PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1,
};

/// The method's name, or null if the number is no method.
const QString *nameOf(PointsCompressionMethod method)
{
    switch (method) {
    case PointsCompressionMethod::InterleavedDoubleDouble:
        return &pointsMethodNames::interleavedDoubleDouble;
    case PointsCompressionMethod::PlanarDoubleFloat:
        return &pointsMethodNames::planarDoubleFloat;
    case PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1:
        return &pointsMethodNames::planarDoubleFloatBitCompressedV1;
    }
    return nullptr;
}

std::optional<PointsCompressionMethod> methodNamed(const QString &name)
{
    for (const PointsCompressionMethod method : allMethods) {
        if (*nameOf(method) == name)
            return method;
    }
    return std::nullopt;
}

} // namespace

PointsCompressionParameters::PointsCompressionParameters() = default;

PointsCompressionParameters::PointsCompressionParameters(PointsCompressionMethod method)
    : m_method(method)
{}

bool PointsCompressionParameters::operator==(
    const PointsCompressionParameters &other) const noexcept
{
    return m_method == other.m_method;
}

bool PointsCompressionParameters::operator!=(
    const PointsCompressionParameters &other) const noexcept
{
    return m_method != other.m_method;
}

bool PointsCompressionParameters::operator<(const PointsCompressionParameters &other) const noexcept
{
    return qint32(m_method) < qint32(other.m_method);
}

Result<QJsonObject> toJson(const PointsCompressionParameters &parameters)
{
    const QString *name = nameOf(parameters.method());
    if (!name)
        return internal::fail(
            ErrorCode::InvalidInput,
            QStringLiteral("Unhandled compression method: %1").arg(qint32(parameters.method())),
            KYV_SITE(toJsonUnknownMethod));
    return QJsonObject{{versionKey, currentVersion}, {methodKey, *name}};
}

Result<PointsCompressionParameters> fromJson(const QJsonObject &json,
                                             To<PointsCompressionParameters>)
{
    if (json.value(versionKey).toInt(0) != currentVersion)
        return internal::fail(ErrorCode::InvalidInput,
                              QStringLiteral("Unsupported compression version"),
                              KYV_SITE(fromJsonVersion));
    const QString name = json.value(methodKey).toString();
    const std::optional<PointsCompressionMethod> method = methodNamed(name);
    if (!method)
        return internal::fail(ErrorCode::InvalidInput,
                              QStringLiteral("Unsupported compression method: %1").arg(name),
                              KYV_SITE(fromJsonUnknownMethod));
    return PointsCompressionParameters(*method);
}

} // namespace kyv::compressor
