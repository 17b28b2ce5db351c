#pragma once

#include "SurveyReport.h"

#include <ms_compressor/Compressor.h>

#include <QByteArray>
#include <QPointF>

namespace kyv::tool {

/// Puts what a run consists of through the byte service: the XML without its arrays, and plane by
/// plane the m/z (as doubles) and intensities (as floats) of each spectrum.
///
/// Of each kind no more is taken than contentLimit, so that a large run takes no hours.
class BytesSurvey
{
public:
    static constexpr qint64 contentLimit = qint64(32) << 20;

    /// Times are the fastest of \a repeats calls.
    explicit BytesSurvey(int repeats);

    void addText(const char *text, qsizetype size);
    void add(const runs::Spectrum &spectrum);

    /// What was found; the text is compressed here.
    QList<ContentSurvey> takeContents();

private:
    void compress(QByteArray bytes, ContentSurvey *survey);

    int m_repeats;
    compressor::Compressor m_compressor;
    QByteArray m_text;
    ContentSurvey m_xml;
    ContentSurvey m_mz;
    ContentSurvey m_intensities;
};

} // namespace kyv::tool
