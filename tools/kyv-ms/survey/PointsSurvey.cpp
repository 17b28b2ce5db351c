#include "PointsSurvey.h"

#include "../Stopwatch.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace kyv::tool {

namespace {

using compressor::CompressedPointsData;
using compressor::PointsCompressionMethod;
using compressor::PointsCompressor;

constexpr PointsCompressionMethod methods[] = {
    PointsCompressionMethod::InterleavedDoubleDouble,
    PointsCompressionMethod::PlanarDoubleFloat,
    PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1,
};

/// The name of \a method as the library stores it.
QString methodName(PointsCompressionMethod method)
{
    const auto json = compressor::toJson(method);
    return json.hasValue() ? json.value().value(QStringLiteral("method")).toString()
                           : QString::number(qint32(method));
}

quint64 bits(double value)
{
    return std::bit_cast<quint64>(value);
}

/// Why \a method gives back other m/z than it got.
QString whyMzChanged(const QList<QPointF> &points, PointsCompressionMethod method)
{
    if (method == PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1) {
        if (points.size() == 1)
            return QStringLiteral("a single point, whose m/z this method does not keep");
        const auto sameBits = [&](const QPointF &point) {
            return bits(point.x()) == bits(points.constFirst().x());
        };
        if (std::all_of(points.begin(), points.end(), sameBits))
            return QStringLiteral("all m/z are equal");
        const auto sameSign = [&](const QPointF &point) {
            return std::signbit(point.x()) == std::signbit(points.constFirst().x());
        };
        if (!std::all_of(points.begin(), points.end(), sameSign))
            return QStringLiteral("m/z of unlike sign");
    }
    return QStringLiteral("m/z change against the method's promise: please report this");
}

/// Why \a original comes back as \a restored; bit flags, so that a spectrum can have several.
enum IntensityChange : unsigned {
    Rounded = 1,
    Overflowed = 2,
    LostSign = 4,
    Unexplained = 8,
};

unsigned whyIntensityChanged(double original, double restored, PointsCompressionMethod method)
{
    if (method == PointsCompressionMethod::InterleavedDoubleDouble)
        return Unexplained;
    if (original == 0 && bits(restored) == 0
        && method == PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1)
        return LostSign;
    const double asFloat = double(float(original));
    if (std::isnan(original) && std::isnan(restored))
        return Rounded;
    if (restored != asFloat)
        return asFloat == 0 && restored == 0 ? Rounded : Unexplained;
    return std::isinf(restored) && !std::isinf(original) ? Overflowed : Rounded;
}

QString intensityReason(unsigned changes)
{
    QStringList reasons;
    if (changes & Rounded)
        reasons << QStringLiteral("intensities need more than 32-bit floats");
    if (changes & Overflowed)
        reasons << QStringLiteral("intensities beyond the range of 32-bit floats");
    if (changes & LostSign)
        reasons << QStringLiteral("intensities of -0.0 become 0.0");
    if (changes & Unexplained)
        reasons << QStringLiteral(
            "intensities change against the method's promise: please report this");
    return reasons.join(QStringLiteral("; "));
}

/// |restored - original|, where an infinity that stays one has not changed.
double change(double original, double restored)
{
    if (bits(original) == bits(restored) || (std::isnan(original) && std::isnan(restored)))
        return 0;
    return std::abs(restored - original);
}

/// Nothing came back at all.
PointsDifference lost(const QString &reason)
{
    PointsDifference found;
    found.x = found.y = true;
    found.reason = reason;
    return found;
}

} // namespace

PointsDifference difference(const QList<QPointF> &original, const QList<QPointF> &restored,
                            PointsCompressionMethod method)
{
    if (original.size() != restored.size())
        return lost(
            QStringLiteral("%1 points come back as %2").arg(original.size()).arg(restored.size()));
    PointsDifference found;
    unsigned intensityChanges = 0;
    for (qsizetype i = 0; i < original.size(); ++i) {
        const QPointF &in = original[i];
        const QPointF &out = restored[i];
        if (bits(in.x()) != bits(out.x())) {
            found.x = true;
            found.largestMzChange = std::max(found.largestMzChange, change(in.x(), out.x()));
        }
        if (bits(in.y()) != bits(out.y())) {
            found.y = true;
            intensityChanges |= whyIntensityChanged(in.y(), out.y(), method);
            const double changed = change(in.y(), out.y());
            found.largestIntensityChange = std::max(found.largestIntensityChange, changed);
            if (in.y() != 0)
                found.largestRelativeIntensityChange =
                    std::max(found.largestRelativeIntensityChange, changed / std::abs(in.y()));
        }
    }
    QStringList reasons;
    if (found.x)
        reasons << whyMzChanged(original, method);
    if (found.y)
        reasons << intensityReason(intensityChanges);
    found.reason = reasons.join(QStringLiteral("; "));
    return found;
}

PointsSurvey::PointsSurvey(int repeats)
    : m_repeats(repeats)
{
    for (const PointsCompressionMethod method : methods) {
        m_methods.append(MethodSurvey());
        m_methods.last().method = methodName(method);
    }
}

void PointsSurvey::add(const runs::Spectrum &spectrum)
{
    for (const PointsCompressionMethod method : methods) {
        MethodSurvey &survey = m_methods[qsizetype(method)];
        const PointsDifference found = roundTrip(spectrum.points, method, &survey);
        ++survey.spectra;
        survey.exactX += !found.x;
        survey.exactY += !found.y;
        survey.exact += !found.x && !found.y;
        survey.largestMzChange = std::max(survey.largestMzChange, found.largestMzChange);
        survey.largestIntensityChange =
            std::max(survey.largestIntensityChange, found.largestIntensityChange);
        survey.largestRelativeIntensityChange =
            std::max(survey.largestRelativeIntensityChange, found.largestRelativeIntensityChange);
        if (found.x || found.y)
            addNamed(&survey.changed, spectrum, found.reason);
    }
}

/// Encodes and decodes \a points, adds size and times to \a survey, and compares.
PointsDifference PointsSurvey::roundTrip(const QList<QPointF> &points,
                                         PointsCompressionMethod method, MethodSurvey *survey) const
{
    PointsCompressor compressor;
    Result<CompressedPointsData> encoded = CompressedPointsData();
    const double encodeSeconds =
        fastestCall(m_repeats, [&] { encoded = compressor.encode(points, method); });
    if (!encoded.hasValue())
        return lost(QStringLiteral("encoding fails: \"%1\"").arg(encoded.error().message()));
    survey->points += points.size();
    survey->encodedBytes += encoded.value().data.size();
    survey->encodeSeconds += encodeSeconds;

    Result<QList<QPointF>> restored = QList<QPointF>();
    survey->decodeSeconds +=
        fastestCall(m_repeats, [&] { restored = compressor.decode(encoded.value()); });
    if (!restored.hasValue())
        return lost(QStringLiteral("%1: decoding fails: \"%2\"")
                        .arg(whyMzChanged(points, method), restored.error().message()));
    return difference(points, restored.value(), method);
}

QList<MethodSurvey> PointsSurvey::takeMethods()
{
    std::stable_sort(m_methods.begin(), m_methods.end(),
                     [](const MethodSurvey &a, const MethodSurvey &b) {
                         return a.encodedBytes < b.encodedBytes;
                     });
    return std::exchange(m_methods, {});
}

void addTo(MethodSurvey *sum, const MethodSurvey &more)
{
    sum->method = more.method;
    sum->spectra += more.spectra;
    sum->points += more.points;
    sum->encodedBytes += more.encodedBytes;
    sum->encodeSeconds += more.encodeSeconds;
    sum->decodeSeconds += more.decodeSeconds;
    sum->exactX += more.exactX;
    sum->exactY += more.exactY;
    sum->exact += more.exact;
    sum->largestMzChange = std::max(sum->largestMzChange, more.largestMzChange);
    sum->largestIntensityChange =
        std::max(sum->largestIntensityChange, more.largestIntensityChange);
    sum->largestRelativeIntensityChange =
        std::max(sum->largestRelativeIntensityChange, more.largestRelativeIntensityChange);
}

} // namespace kyv::tool
