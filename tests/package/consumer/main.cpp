// Encodes a tiny spectrum and gets it back, with nothing but the public headers.

#include <ms_compressor/PointsCompressor.h>

#include <cstdio>

int main()
{
    using namespace kyv::compressor;
    const QList<QPointF> spectrum{{100.0, 1.0}, {100.5, 20.0}, {101.25, 3.0}};
    PointsCompressor compressor;
    for (const PointsCompressionMethod method :
         {PointsCompressionMethod::InterleavedDoubleDouble,
          PointsCompressionMethod::PlanarDoubleFloat,
          PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1}) {
        const kyv::Result<CompressedPointsData> encoded = compressor.encode(spectrum, method);
        if (!encoded.hasValue())
            return 1;
        const kyv::Result<QList<QPointF>> decoded = compressor.decode(encoded.value());
        if (!decoded.hasValue() || decoded.value() != spectrum)
            return 1;
    }
    std::printf("%d points came back\n", int(spectrum.size()));
    return 0;
}
