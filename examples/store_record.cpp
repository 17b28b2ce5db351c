// Stores an encoded spectrum in an application's own file and reads it back.
//
// The payload does not tell which method made it, so the method is stored beside it. The choice of
// method itself can be kept as JSON, for example in the application's settings.

#include <ms_compressor/PointsCompressor.h>

#include <QDataStream>
#include <QIODevice>
#include <QTextStream>

namespace {

using namespace kyv::compressor;

void writeRecord(QDataStream &stream, const CompressedPointsData &record)
{
    stream << qint32(record.method) << record.data;
}

CompressedPointsData readRecord(QDataStream &stream)
{
    qint32 method = 0;
    CompressedPointsData record;
    stream >> method >> record.data;
    record.method = PointsCompressionMethod(method); // decode() refuses a number that is no method
    return record;
}

int fail(const QString &reason)
{
    QTextStream(stderr) << reason << Qt::endl;
    return 1;
}

} // namespace

int main()
{
    // The choice, as a setting that was stored and read back.
    const PointsCompressionParameters chosen(
        PointsCompressionMethod::PlanarDoubleFloatBitCompressedV1);
    const auto setting = toJson(chosen);
    if (!setting.hasValue())
        return fail(setting.error().message());
    const auto parameters = fromJson(setting.value(), kyv::To<PointsCompressionParameters>());
    if (!parameters.hasValue())
        return fail(parameters.error().message());

    const QList<QPointF> spectrum{{445.12, 1200.0}, {446.12, 310.5}, {447.13, 48.25}};
    const auto encoded = PointsCompressor().encode(spectrum, parameters.value());
    if (!encoded.hasValue())
        return fail(encoded.error().message());

    QByteArray file;
    QDataStream writing(&file, QIODevice::WriteOnly);
    writeRecord(writing, encoded.value());

    QDataStream reading(file);
    const CompressedPointsData record = readRecord(reading);
    if (reading.status() != QDataStream::Ok)
        return fail(QStringLiteral("the file ends too early"));
    const auto decoded = PointsCompressor().decode(record);
    if (!decoded.hasValue())
        return fail(decoded.error().message());
    QTextStream(stdout) << decoded.value().size() << " points from " << file.size() << " bytes"
                        << Qt::endl;
    return decoded.value() == spectrum ? 0 : 1;
}
