#pragma once

#include "SurveyReport.h"

#include <ms_compressor/PointsCompressor.h>

#include <QPointF>

namespace kyv::tool {

/// How a list of points differs from what was put in.
struct PointsDifference
{
    bool x = false;
    bool y = false;
    double largestMzChange = 0;
    double largestIntensityChange = 0;
    double largestRelativeIntensityChange = 0;
    QString reason; ///< Empty if nothing differs.
};

/// Compares \a restored with \a original bit for bit and says why \a method changed what differs.
PointsDifference difference(const QList<QPointF> &original, const QList<QPointF> &restored,
                            compressor::PointsCompressionMethod method);

/// Puts spectra through every method of PointsCompressor and compares what comes back.
class PointsSurvey
{
public:
    /// Times are the fastest of \a repeats calls for each spectrum.
    explicit PointsSurvey(int repeats);

    void add(const runs::Spectrum &spectrum);

    /// What was found, smallest result first.
    QList<MethodSurvey> takeMethods();

private:
    PointsDifference roundTrip(const QList<QPointF> &points,
                               compressor::PointsCompressionMethod method,
                               MethodSurvey *survey) const;

    int m_repeats;
    QList<MethodSurvey> m_methods; // by the number of the method
};

} // namespace kyv::tool
