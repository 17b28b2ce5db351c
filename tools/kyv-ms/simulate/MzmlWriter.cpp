#include "MzmlWriter.h"

#include "../mzml/Plane.h"

#include <QIODevice>

#include <libdeflate.h>

#include <memory>

namespace kyv::runs {

namespace {

QByteArray cvParam(const char *accession, const char *name, const QByteArray &value = {})
{
    return QByteArray("<cvParam cvRef=\"MS\" accession=\"") + accession + "\" name=\"" + name
           + "\" value=\"" + value + "\"/>";
}

/// \a text as it may stand in an attribute; what XML cannot hold at all becomes "_".
QByteArray attributeText(QString text)
{
    for (QChar &c : text)
        if (c < QChar(0x20) || c >= QChar(0xFFFE))
            c = QLatin1Char('_');
    return text.toHtmlEscaped().toUtf8();
}

QByteArray zlibCompressed(const QByteArray &bytes)
{
    constexpr int level = 6;
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(level), &libdeflate_free_compressor);
    Q_CHECK_PTR(compressor.get());
    const auto size = std::size_t(bytes.size());
    QByteArray packed(qsizetype(libdeflate_zlib_compress_bound(compressor.get(), size)),
                      Qt::Uninitialized);
    packed.resize(qsizetype(libdeflate_zlib_compress(compressor.get(), bytes.constData(), size,
                                                     packed.data(), std::size_t(packed.size()))));
    return packed;
}

QByteArray binaryDataArray(const QByteArray &values, bool zlib, const QByteArray &params)
{
    const QByteArray text = (zlib ? zlibCompressed(values) : values).toBase64();
    return "          <binaryDataArray encodedLength=\"" + QByteArray::number(text.size()) + "\">\n"
           + "            " + params + "\n            "
           + (zlib ? cvParam("MS:1000574", "zlib compression")
                   : cvParam("MS:1000576", "no compression"))
           + "\n            <binary>" + text + "</binary>\n          </binaryDataArray>\n";
}

} // namespace

MzmlWriter::MzmlWriter(QIODevice &device)
    : m_device(device)
{}

bool MzmlWriter::put(const QByteArray &bytes)
{
    m_bytes += bytes.size();
    return m_device.write(bytes) == bytes.size();
}

bool MzmlWriter::begin(const QString &runId, qsizetype count)
{
    return put("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
               "<mzML xmlns=\"http://psi.hupo.org/ms/mzml\" version=\"1.1.0\">\n"
               "  <cvList count=\"1\">\n"
               "    <cv id=\"MS\" fullName=\"PSI-MS\" "
               "URI=\"https://raw.githubusercontent.com/HUPO-PSI/psi-ms-CV/master/psi-ms.obo\"/>\n"
               "  </cvList>\n"
               "  <fileDescription><fileContent>"
               + cvParam("MS:1000294", "mass spectrum")
               + "</fileContent></fileDescription>\n"
                 "  <softwareList count=\"1\"><software id=\"kyv-ms\" version=\"1\">"
               + cvParam("MS:1000799", "custom unreleased software tool", "kyv-ms simulate")
               + "</software></softwareList>\n"
                 "  <instrumentConfigurationList count=\"1\"><instrumentConfiguration id=\"IC1\">"
               + cvParam("MS:1000031", "instrument model", "simulated")
               + "</instrumentConfiguration></instrumentConfigurationList>\n"
                 "  <dataProcessingList count=\"1\"><dataProcessing id=\"DP1\">"
                 "<processingMethod order=\"0\" softwareRef=\"kyv-ms\">"
               + cvParam("MS:1000544", "Conversion to mzML")
               + "</processingMethod></dataProcessing></dataProcessingList>\n"
                 "  <run id=\""
               + attributeText(runId)
               + "\" defaultInstrumentConfigurationRef=\"IC1\">\n"
                 "    <spectrumList count=\""
               + QByteArray::number(count) + "\" defaultDataProcessingRef=\"DP1\">\n");
}

bool MzmlWriter::write(const Spectrum &spectrum)
{
    QByteArray xml = "      <spectrum index=\"" + QByteArray::number(spectrum.index) + "\" id=\""
                     + attributeText(spectrum.id) + "\" defaultArrayLength=\""
                     + QByteArray::number(spectrum.points.size()) + "\">\n        ";
    if (spectrum.msLevel > 0)
        xml += cvParam("MS:1000511", "ms level", QByteArray::number(spectrum.msLevel));
    if (spectrum.shape == SpectrumShape::Profile)
        xml += cvParam("MS:1000128", "profile spectrum");
    else if (spectrum.shape == SpectrumShape::Centroid)
        xml += cvParam("MS:1000127", "centroid spectrum");
    xml += "\n        <binaryDataArrayList count=\"2\">\n";
    xml +=
        binaryDataArray(plane<double>(spectrum.points, &QPointF::x),
                        spectrum.x.compression == ArrayCompression::Zlib,
                        cvParam("MS:1000514", "m/z array") + cvParam("MS:1000523", "64-bit float"));
    xml += binaryDataArray(plane<float>(spectrum.points, &QPointF::y),
                           spectrum.y.compression == ArrayCompression::Zlib,
                           cvParam("MS:1000515", "intensity array")
                               + cvParam("MS:1000521", "32-bit float"));
    return put(xml + "        </binaryDataArrayList>\n      </spectrum>\n");
}

bool MzmlWriter::end()
{
    return put("    </spectrumList>\n  </run>\n</mzML>\n");
}

} // namespace kyv::runs
