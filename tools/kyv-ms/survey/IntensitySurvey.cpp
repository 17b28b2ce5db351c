#include "IntensitySurvey.h"

#include "IntensityPlot.h"

#include "../Stopwatch.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace kyv::tool {

namespace {

using compressor::MsDataPacker;
using compressor::PackMethod;
using compressor::PackParameters;

bool sameBits(const QList<float> &a, const QList<float> &b)
{
    const std::size_t size = std::size_t(a.size()) * sizeof(float);
    return a.size() == b.size()
           && (a.isEmpty() || std::memcmp(a.constData(), b.constData(), size) == 0);
}

/// Adds how far \a restored is from \a original; both have the same length.
void addErrors(const QList<float> &original, const QList<float> &restored, PackSurvey *survey)
{
    for (qsizetype i = 0; i < original.size(); ++i) {
        const double in = double(original[i]);
        if (!(in > 0) || std::isinf(in))
            continue;
        const double out = double(restored[i]);
        const double error = std::isnan(out) ? 1 : std::abs(out - in) / in;
        ++survey->positive;
        survey->becameZero += out == 0;
        survey->largestRelativeError = std::max(survey->largestRelativeError, error);
        survey->squaredErrors += error * error;
    }
}

} // namespace

double PackSurvey::rmsRelativeError() const
{
    return positive > 0 ? std::sqrt(squaredErrors / double(positive)) : 0;
}

QString whyUnusable(const QList<float> &intensities, const PackParameters &parameters)
{
    if (parameters.method() != PackMethod::Quantizing)
        return {};
    const bool anyPositive = std::any_of(intensities.begin(), intensities.end(),
                                         [](float intensity) { return intensity > 0; });
    if (!anyPositive)
        return {};
    if (!(parameters.singleCount() > 0))
        return QStringLiteral("no two neighbours differ by more than 0.5, so all intensities are "
                              "lost: use RawData");
    if (!std::isfinite(parameters.power()) || !(parameters.power() > 0))
        return QStringLiteral("the exponent of the scale comes out as %1: use RawData")
            .arg(parameters.power());
    return {};
}

IntensitySurvey::IntensitySurvey(int repeats, IntensityPlot *plot)
    : m_repeats(repeats)
    , m_plot(plot)
{
    for (const PackMethod method : {PackMethod::RawData, PackMethod::Quantizing}) {
        m_methods.append(PackSurvey());
        m_methods.last().method = compressor::convert(method, To<QString>());
    }
}

void IntensitySurvey::add(const runs::Spectrum &spectrum)
{
    QList<float> intensities(spectrum.points.size());
    std::transform(spectrum.points.begin(), spectrum.points.end(), intensities.begin(),
                   [](const QPointF &point) { return float(point.y()); });
    for (const PackMethod method : {PackMethod::RawData, PackMethod::Quantizing}) {
        PackSurvey &survey = m_methods[qsizetype(method)];
        const QList<float> restored = roundTrip(spectrum, intensities, method, &survey);
        ++survey.spectra;
        survey.intensities += intensities.size();
        survey.exact += sameBits(intensities, restored);
        if (restored.size() != intensities.size())
            continue;
        addErrors(intensities, restored, &survey);
        if (m_plot && method == PackMethod::Quantizing)
            m_plot->add(intensities, restored);
    }
}

/// Packs and unpacks \a intensities; adds size, times and objections to \a survey.
QList<float> IntensitySurvey::roundTrip(const runs::Spectrum &spectrum,
                                        const QList<float> &intensities, PackMethod method,
                                        PackSurvey *survey) const
{
    QString reason = whyUnusable(intensities, PackParameters::create(intensities, method));
    QByteArray packed;
    Error error;
    survey->packSeconds += fastestCall(m_repeats, [&] {
        packed = QByteArray();
        const PackParameters parameters = PackParameters::create(intensities, method);
        error = MsDataPacker::pack(&packed, intensities, parameters);
    });
    survey->packedBytes += packed.size();
    if (error.hasError())
        reason = QStringLiteral("packing fails: \"%1\"").arg(error.message());

    QList<float> restored;
    survey->unpackSeconds += fastestCall(m_repeats, [&] {
        restored = QList<float>();
        error = MsDataPacker::unpack(&restored, packed);
    });
    if (error.hasError())
        reason = QStringLiteral("unpacking fails: \"%1\"").arg(error.message());
    if (!error.hasError() && sameBits(intensities, restored))
        reason.clear(); // such as equal intensities, which a scale without steps restores
    if (reason.isEmpty() && restored.size() != intensities.size())
        reason = QStringLiteral("%1 intensities come back as %2")
                     .arg(intensities.size())
                     .arg(restored.size());
    if (!reason.isEmpty())
        addNamed(&survey->unusable, spectrum, reason);
    return restored;
}

QList<PackSurvey> IntensitySurvey::takeMethods()
{
    return std::exchange(m_methods, {});
}

void addTo(PackSurvey *sum, const PackSurvey &more)
{
    sum->method = more.method;
    sum->spectra += more.spectra;
    sum->intensities += more.intensities;
    sum->packedBytes += more.packedBytes;
    sum->packSeconds += more.packSeconds;
    sum->unpackSeconds += more.unpackSeconds;
    sum->exact += more.exact;
    sum->positive += more.positive;
    sum->becameZero += more.becameZero;
    sum->largestRelativeError = std::max(sum->largestRelativeError, more.largestRelativeError);
    sum->squaredErrors += more.squaredErrors;
}

} // namespace kyv::tool
