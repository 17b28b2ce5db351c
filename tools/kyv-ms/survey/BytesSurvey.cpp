#include "BytesSurvey.h"

#include "../Stopwatch.h"
#include "../mzml/Plane.h"

#include <algorithm>

namespace kyv::tool {

using compressor::CompressedData;

BytesSurvey::BytesSurvey(int repeats)
    : m_repeats(repeats)
{
    m_xml.content = QStringLiteral("XML without arrays");
    m_mz.content = QStringLiteral("m/z planes");
    m_intensities.content = QStringLiteral("intensity planes");
}

void BytesSurvey::addText(const char *text, qsizetype size)
{
    const qsizetype room = qsizetype(contentLimit) - m_text.size();
    m_xml.sampled |= size > room;
    m_text.append(text, std::min(size, room));
}

void BytesSurvey::add(const runs::Spectrum &spectrum)
{
    if (spectrum.points.isEmpty())
        return;
    compress(runs::plane<double>(spectrum.points, &QPointF::x), &m_mz);
    compress(runs::plane<float>(spectrum.points, &QPointF::y), &m_intensities);
}

void BytesSurvey::compress(QByteArray bytes, ContentSurvey *survey)
{
    const auto room = qsizetype(contentLimit - survey->bytes);
    survey->sampled |= bytes.size() > room;
    bytes.truncate(room);
    if (bytes.isEmpty())
        return;
    CompressedData compressed;
    survey->compressSeconds +=
        fastestCall(m_repeats, [&] { compressed = m_compressor.compress(bytes); });
    QByteArray restored;
    survey->decompressSeconds +=
        fastestCall(m_repeats, [&] { restored = m_compressor.decompress(compressed); });
    ++survey->pieces;
    survey->bytes += bytes.size();
    survey->compressedBytes += compressed.data.size();
    survey->exact += restored == bytes;
    survey->cut += restored != bytes && compressed.data.size() == bytes.size();
}

QList<ContentSurvey> BytesSurvey::takeContents()
{
    if (!m_text.isEmpty())
        compress(m_text, &m_xml);
    m_text.clear();
    return {m_xml, m_mz, m_intensities};
}

void addTo(ContentSurvey *sum, const ContentSurvey &more)
{
    sum->content = more.content;
    sum->pieces += more.pieces;
    sum->bytes += more.bytes;
    sum->compressedBytes += more.compressedBytes;
    sum->compressSeconds += more.compressSeconds;
    sum->decompressSeconds += more.decompressSeconds;
    sum->exact += more.exact;
    sum->cut += more.cut;
    sum->sampled |= more.sampled;
}

} // namespace kyv::tool
