// Encodes a spectrum by each method and gets it back: one call each way.

#include <ms_compressor/PointsCompressor.h>

#include <QTextStream>

#include <cmath>

namespace {

/// A profile spectrum: an m/z axis as a time-of-flight instrument samples it, a few peaks, zeros.
QList<QPointF> exampleSpectrum()
{
    QList<QPointF> spectrum;
    for (int sample = 0; sample < 20000; ++sample) {
        const double time = 20.0 + 0.001 * sample;
        const double mz = time * time;
        const double distance = mz - 50.0 * std::round(mz / 50.0); // a peak every 50
        const double intensity = 1e4 * std::exp(-distance * distance / 0.5);
        spectrum.append({mz, std::floor(intensity)});
    }
    return spectrum;
}

} // namespace

int main()
{
    using namespace kyv::compressor;
    QTextStream out(stdout);
    const QList<QPointF> spectrum = exampleSpectrum();

    PointsCompressor compressor;
    for (const PointsCompressionMethod method :
         {PointsCompressionMethod::InterleavedDoubleDouble,
          PointsCompressionMethod::PlanarDoubleFloat,
          PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1}) {
        const kyv::Result<CompressedPointsData> encoded = compressor.encode(spectrum, method);
        if (!encoded.hasValue()) {
            out << encoded.error().message() << Qt::endl;
            return 1;
        }
        const kyv::Result<QList<QPointF>> decoded = compressor.decode(encoded.value());
        if (!decoded.hasValue() || decoded.value() != spectrum) {
            out << "the spectrum did not come back" << Qt::endl;
            return 1;
        }
        out << "method " << qint32(method) << ": "
            << double(encoded.value().data.size()) / double(spectrum.size()) << " bytes per point"
            << Qt::endl;
    }
    return 0;
}
