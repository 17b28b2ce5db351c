#pragma once

#include <QList>
#include <QMap>
#include <QPointF>
#include <QString>

#include <functional>
#include <optional>

class QIODevice;

/// Reading of mzML runs for the tool, the tests and the benchmarks. Not part of the library.
namespace kyv::runs {

/// Number type of a binary array, as the file declares it.
enum class NumberType { Undeclared, Float32, Float64, Int32, Int64, Unknown };

/// Compression of a binary array, as the file declares it.
enum class ArrayCompression { Undeclared, None, Zlib, Unknown };

/// How a spectrum was recorded, as the file declares it.
enum class SpectrumShape { Undeclared, Profile, Centroid };

/// How one array of a spectrum was stored.
struct ArrayFormat
{
    NumberType type = NumberType::Undeclared;
    ArrayCompression compression = ArrayCompression::Undeclared;
};

/// One spectrum of a run.
struct Spectrum
{
    qsizetype index = 0;   ///< Its place among the run's spectra, counted from 0.
    QString id;            ///< The native id, whatever its form.
    qint64 byteOffset = 0; ///< Where its element begins in the unpacked file.
    int msLevel = 0;       ///< 0 if the file does not say.
    SpectrumShape shape = SpectrumShape::Undeclared;
    ArrayFormat x; ///< How the m/z array was stored.
    ArrayFormat y; ///< How the intensity array was stored.

    /// m/z and intensity, in the order of the file. Integers and 32-bit floats are widened.
    QList<QPointF> points;

    /// Why the arrays are sound but give no points, for example "m/z array: MS-Numpress linear
    /// prediction compression is not supported"; empty for a spectrum that was read.
    QString setAside;
};

/// What a run holds, counted while it is read.
struct RunSummary
{
    qsizetype spectra = 0;       ///< All spectra, those set aside included.
    qsizetype setAside = 0;      ///< Spectra whose arrays give no points.
    qsizetype points = 0;        ///< Points of all spectra that were read.
    qsizetype chromatograms = 0; ///< Counted, never decoded.
    qint64 fileBytes = 0;        ///< Size as stored; of the packed file if it is a .gz.
    qint64 xmlBytes = 0;         ///< Size unpacked.

    /// Arrays of spectra compressed by a scheme that is not read, by its name.
    QMap<QString, qsizetype> unknownCompressions;
    /// Arrays of spectra beside m/z and intensity, by name (ion mobility and others).
    QMap<QString, qsizetype> otherArrays;
    /// Arrays of m/z and intensity by number type and compression, "64-bit float, zlib".
    QMap<QString, qsizetype> arrayFormats;
};

/// Why a run could not be read to its end.
struct ReadFailure
{
    enum class Kind {
        Io,      ///< The file cannot be opened or read.
        Corrupt, ///< The content is damaged, refused, or not mzML at all.
    };
    Kind kind = Kind::Corrupt;
    qint64 byteOffset = 0; ///< In the unpacked file.
    QString reason;        ///< One line, without the file's name.
};

/// What reading a run came to: \c failure is empty if it was read to its end.
struct RunReading
{
    RunSummary summary; ///< Up to the failure, if there is one.
    std::optional<ReadFailure> failure;
};

/// A run held in memory.
struct LoadedRun : RunReading
{
    QList<Spectrum> spectra;
};

/// Takes one spectrum; false ends the reading there.
using SpectrumHandler = std::function<bool(Spectrum &&spectrum)>;

/// Is told now and then how many bytes of the file have been read, of how many.
using ProgressHandler = std::function<void(qint64 bytesRead, qint64 bytesTotal)>;

/// Takes the text of the run without the content of its <binary> elements, piece by piece.
using TextHandler = std::function<void(const char *text, qsizetype size)>;

/// What a caller of readRun() wants to be told; any may be empty.
struct RunHandlers
{
    SpectrumHandler spectrum;
    ProgressHandler progress;
    TextHandler textWithoutArrays;
};

/// Reads the mzML or gzip-compressed mzML file \a path from front to back.
///
/// Memory stays in proportion to the longest spectrum: see Limits.h for what is refused.
RunReading readRun(const QString &path, const RunHandlers &handlers);

/// The same for an open device.
RunReading readRun(QIODevice &device, const RunHandlers &handlers);

/// Reads a whole run into memory, for tests and benchmarks.
LoadedRun loadRun(const QString &path);
LoadedRun loadRun(QIODevice &device);

/// "64-bit float", "unknown number type", ...
QString displayName(NumberType type);
/// "zlib", "no compression", ...
QString displayName(ArrayCompression compression);

} // namespace kyv::runs
