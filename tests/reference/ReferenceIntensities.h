#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <optional>
#include <vector>

// Slow, literal readers of the packed lists, bit at a time and straight from docs/formats
// (pack-parameters.md, integer-list.md, intensities.md). They share nothing with the library.

namespace kyv::reference {

/// How the stream writes integers and floating-point numbers.
struct StreamKind
{
    bool littleEndian = false;
    bool singlePrecision = false;
};

/// The bytes of a packed list, taken from the front field by field.
class FieldReader
{
public:
    FieldReader(const QByteArray &bytes, StreamKind kind)
        : m_bytes(bytes)
        , m_kind(kind)
    {}

    /// The next integer of \a size bytes; 0, and nothing is left, if it is cut short.
    quint64 integer(int size);
    double real64();
    float real32();
    /// A number that the stream writes in the width of its precision.
    double realInPrecision();
    qsizetype remaining() const { return m_bytes.size() - m_position; }
    QByteArray take(qsizetype size);
    bool isSinglePrecision() const { return m_kind.singlePrecision; }

private:
    QByteArray m_bytes;
    StreamKind m_kind;
    qsizetype m_position = 0;
};

/// The record in front of a list.
struct Parameters
{
    int method = 0;
    unsigned bits = 32;
    unsigned bitOffset = 0;
    double power = 0;
    float singleCount = 0;
    float rawOffset = 0;
    float rawMax = 0;
};

/// No record if its version is unknown.
std::optional<Parameters> readParameters(FieldReader &from);

/// No list if it is inconsistent.
std::optional<std::vector<quint32>> readIntegerList(FieldReader &from);

enum class Outcome { Ok, UnknownVersion, Inconsistent, RawList };

struct IntensityList
{
    Outcome outcome = Outcome::Ok;
    std::vector<float> intensities;
};

struct LevelList
{
    Outcome outcome = Outcome::Ok;
    std::vector<quint32> levels;
};

IntensityList readIntensities(const QByteArray &bytes, StreamKind kind);
LevelList readLevels(const QByteArray &bytes, StreamKind kind);

/// The step of one count as the rule says it: all differences sorted, then grouped.
float singleCountBySorting(const std::vector<float> &intensities);

/// Parameters of a quantized list, derived as the rules say it.
Parameters deriveParameters(const std::vector<float> &intensities);

/// The level of one intensity, one step at a time.
quint32 levelOf(float intensity, const Parameters &parameters);

/// The intensity of one level, one step at a time.
float intensityOf(quint32 level, const Parameters &parameters);

} // namespace kyv::reference
