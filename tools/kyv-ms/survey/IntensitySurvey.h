#pragma once

#include "SurveyReport.h"

#include <ms_compressor/MsDataPacker.h>

#include <QPointF>

namespace kyv::tool {

class IntensityPlot;

/// Puts the intensities of spectra through both methods of MsDataPacker.
class IntensitySurvey
{
public:
    /// Times are the fastest of \a repeats calls. What quantizing does is added to \a plot, if
    /// there is one; it must outlive this object.
    IntensitySurvey(int repeats, IntensityPlot *plot);

    void add(const runs::Spectrum &spectrum);

    QList<PackSurvey> takeMethods();

private:
    QList<float> roundTrip(const runs::Spectrum &spectrum, const QList<float> &intensities,
                           compressor::PackMethod method, PackSurvey *survey) const;

    int m_repeats;
    IntensityPlot *m_plot;
    QList<PackSurvey> m_methods; // by the number of the method
};

/// Why \a parameters, derived from \a intensities, must not be used; empty if they may.
QString whyUnusable(const QList<float> &intensities, const compressor::PackParameters &parameters);

} // namespace kyv::tool
