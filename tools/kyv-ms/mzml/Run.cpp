#include "Run.h"

#include "Limits.h"

#include <QFile>

namespace kyv::runs {

LoadedRun loadRun(QIODevice &device)
{
    LoadedRun run;
    qint64 bytes = 0;
    const qint64 maxBytes = limits::loadedRunBytes(device.size());
    RunHandlers handlers;
    handlers.spectrum = [&](Spectrum &&spectrum) {
        bytes += spectrum.points.size() * qint64(sizeof(QPointF));
        run.spectra.append(std::move(spectrum));
        return bytes <= maxBytes;
    };
    static_cast<RunReading &>(run) = readRun(device, handlers);
    if (bytes > maxBytes)
        run.failure =
            ReadFailure{ReadFailure::Kind::Corrupt, run.spectra.constLast().byteOffset,
                        QStringLiteral("the points take more than %1 bytes").arg(maxBytes)};
    return run;
}

LoadedRun loadRun(const QString &path)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        return loadRun(file);
    LoadedRun run;
    run.failure = ReadFailure{ReadFailure::Kind::Io, 0, file.errorString()};
    return run;
}

QString displayName(NumberType type)
{
    switch (type) {
    case NumberType::Float32:
        return QStringLiteral("32-bit float");
    case NumberType::Float64:
        return QStringLiteral("64-bit float");
    case NumberType::Int32:
        return QStringLiteral("32-bit integer");
    case NumberType::Int64:
        return QStringLiteral("64-bit integer");
    case NumberType::Undeclared:
    case NumberType::Unknown:
        break;
    }
    return QStringLiteral("unknown number type");
}

QString displayName(ArrayCompression compression)
{
    switch (compression) {
    case ArrayCompression::None:
        return QStringLiteral("no compression");
    case ArrayCompression::Zlib:
        return QStringLiteral("zlib");
    case ArrayCompression::Undeclared:
    case ArrayCompression::Unknown:
        break;
    }
    return QStringLiteral("unknown compression");
}

} // namespace kyv::runs
