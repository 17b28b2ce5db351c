#include "SpectrumBuilder.h"

#include "CvTerms.h"
#include "Limits.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace kyv::runs {

namespace {

QString text(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
}

/// The name of a term, of which none is long.
QString nameOf(const CvParam &param)
{
    return text(std::string_view(param.name).substr(0, 256));
}

/// True if \a name contains \a part, which is in lower case, in any case.
bool contains(std::string_view name, std::string_view part)
{
    const auto isSame = [](char a, char lower) {
        return (a >= 'A' && a <= 'Z' ? char(a - 'A' + 'a') : a) == lower;
    };
    return std::search(name.begin(), name.end(), part.begin(), part.end(), isSame) != name.end();
}

NumberType numberType(std::string_view accession)
{
    constexpr std::array<std::pair<std::string_view, NumberType>, 6> types{{
        {cv::float32, NumberType::Float32},
        {cv::float64, NumberType::Float64},
        {cv::int32, NumberType::Int32},
        {cv::int64, NumberType::Int64},
        {cv::float16, NumberType::Unknown},
        {cv::asciiText, NumberType::Unknown},
    }};
    for (const auto &[term, type] : types)
        if (accession == term)
            return type;
    return NumberType::Undeclared;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

} // namespace

SpectrumBuilder::SpectrumBuilder(RunSummary *summary)
    : m_summary(summary)
{}

void SpectrumBuilder::beginSpectrum(std::string_view id, qint64 length, qint64 byteOffset)
{
    m_spectrum = Spectrum();
    m_spectrum.index = m_summary->spectra;
    m_spectrum.id = kyv::runs::text(id);
    m_spectrum.byteOffset = byteOffset;
    m_length = length;
    m_x.present = m_y.present = false;
    m_x.values.clear();
    m_y.values.clear();
}

void SpectrumBuilder::spectrumParam(const CvParam &param)
{
    if (param.accession == cv::profileSpectrum) {
        m_spectrum.shape = SpectrumShape::Profile;
    } else if (param.accession == cv::centroidSpectrum) {
        m_spectrum.shape = SpectrumShape::Centroid;
    } else if (param.accession == cv::msLevel) {
        const char *end = param.value.data() + param.value.size();
        std::from_chars(param.value.data(), end, m_spectrum.msLevel);
    }
}

void SpectrumBuilder::beginArray(qint64 length)
{
    m_array = Array();
    m_array.length = length >= 0 ? length : m_length;
    m_text.clear();
}

/// A term that names neither type nor compression nor a known array is judged by its name, since
/// the vocabulary grows: new compressions are called "... compression", new arrays "... array".
void SpectrumBuilder::arrayParam(const CvParam &param)
{
    const NumberType type = numberType(param.accession);
    if (type != NumberType::Undeclared) {
        m_array.format.type = type;
        m_array.type = nameOf(param);
    } else if (param.accession == cv::mzArray) {
        m_array.role = Role::Mz;
    } else if (param.accession == cv::intensityArray) {
        m_array.role = Role::Intensity;
    } else if (param.accession == cv::zlibCompression || param.accession == cv::noCompression) {
        if (m_array.format.compression != ArrayCompression::Unknown)
            m_array.format.compression = param.accession == cv::zlibCompression
                                             ? ArrayCompression::Zlib
                                             : ArrayCompression::None;
    } else if (contains(param.name, "compression") || contains(param.name, "numpress")) {
        m_array.format.compression = ArrayCompression::Unknown;
        m_array.compression = nameOf(param);
    } else if (m_array.role == Role::Unknown && contains(param.name, "array")) {
        m_array.role = Role::Other;
        m_array.name = nameOf(param);
    }
}

bool SpectrumBuilder::text(const char *characters, qsizetype count, qint64 maxBytes)
{
    const char *const end = characters + count;
    while (characters != end) {
        const char *const blank = std::find_if(characters, end, isBlank);
        m_text.append(characters, blank - characters);
        characters = std::find_if_not(blank, end, isBlank);
    }
    return m_text.size() <= maxBytes;
}

std::optional<QString> SpectrumBuilder::endArray(qint64 maxBytes)
{
    if (m_array.format.compression == ArrayCompression::Unknown)
        ++m_summary->unknownCompressions[m_array.compression];
    switch (m_array.role) {
    case Role::Mz:
        m_spectrum.x = m_array.format;
        return decode(&m_x, maxBytes);
    case Role::Intensity:
        m_spectrum.y = m_array.format;
        return decode(&m_y, maxBytes);
    case Role::Other:
        ++m_summary->otherArrays[m_array.name];
        break;
    case Role::Unknown:
        ++m_summary->otherArrays[QStringLiteral("array without a name")];
        break;
    }
    return std::nullopt;
}

std::optional<QString> SpectrumBuilder::decode(Axis *axis, qint64 maxBytes)
{
    const QString name =
        m_array.role == Role::Mz ? QStringLiteral("m/z array") : QStringLiteral("intensity array");
    if (axis->present) {
        setAside(QStringLiteral("more than one ") + name);
        return std::nullopt;
    }
    axis->present = true;
    const QString unsupported = unsupportedReason();
    if (!unsupported.isEmpty()) {
        setAside(name + QStringLiteral(": ") + unsupported);
        return std::nullopt;
    }
    ++m_summary->arrayFormats[displayName(m_array.format.type) + QStringLiteral(", ")
                              + displayName(m_array.format.compression)];
    const ArrayOutcome outcome =
        m_decoder.decode(m_text, m_array.format, m_array.length, maxBytes, &axis->values);
    if (outcome.kind == ArrayOutcome::Kind::Damaged)
        return name + QStringLiteral(": ") + outcome.reason;
    if (outcome.kind == ArrayOutcome::Kind::WrongLength)
        setAside(name + QLatin1Char(' ') + outcome.reason);
    return std::nullopt;
}

/// Why the array cannot be decoded, or an empty text.
QString SpectrumBuilder::unsupportedReason() const
{
    switch (m_array.format.compression) {
    case ArrayCompression::Unknown:
        return m_array.compression + QStringLiteral(" is not supported");
    case ArrayCompression::Undeclared:
        return QStringLiteral("its compression is not declared");
    case ArrayCompression::None:
    case ArrayCompression::Zlib:
        break;
    }
    if (m_array.format.type == NumberType::Unknown)
        return m_array.type + QStringLiteral(" values are not supported");
    if (m_array.format.type == NumberType::Undeclared)
        return QStringLiteral("its number type is not declared");
    if (m_array.length < 0)
        return QStringLiteral("its length is not declared");
    if (m_array.length > limits::arrayValues)
        return QStringLiteral("%1 values are more than accepted").arg(m_array.length);
    return {};
}

/// Keeps the first reason, which is the one nearest to the cause.
void SpectrumBuilder::setAside(const QString &reason)
{
    if (m_spectrum.setAside.isEmpty())
        m_spectrum.setAside = reason;
}

Spectrum SpectrumBuilder::finish()
{
    // An empty spectrum may leave its arrays out altogether.
    const bool announcesPoints = m_length != 0 || m_x.present || m_y.present;
    if (announcesPoints && !m_x.present)
        setAside(QStringLiteral("no m/z array"));
    if (announcesPoints && !m_y.present)
        setAside(QStringLiteral("no intensity array"));
    if (m_x.values.size() != m_y.values.size())
        setAside(QStringLiteral("%1 m/z values and %2 intensities")
                     .arg(m_x.values.size())
                     .arg(m_y.values.size()));

    ++m_summary->spectra;
    if (!m_spectrum.setAside.isEmpty()) {
        ++m_summary->setAside;
        return std::exchange(m_spectrum, Spectrum());
    }
    const std::size_t count = m_x.values.size();
    m_spectrum.points.resize(qsizetype(count));
    QPointF *points = m_spectrum.points.data();
    for (std::size_t i = 0; i < count; ++i)
        points[i] = QPointF(m_x.values[i], m_y.values[i]);
    m_summary->points += qsizetype(count);
    return std::exchange(m_spectrum, Spectrum());
}

} // namespace kyv::runs
