#pragma once

#include "BinaryArray.h"
#include "Run.h"

#include <string>
#include <string_view>
#include <vector>

namespace kyv::runs {

/// One cvParam element: a term of the controlled vocabulary and its value.
struct CvParam
{
    std::string accession;
    std::string name;
    std::string value;

    /// What it takes in memory, about.
    qint64 bytes() const
    {
        return qint64(sizeof(CvParam) + accession.size() + name.size() + value.size());
    }
};

/// Collects what the elements of one spectrum say and decodes its m/z and intensity arrays.
///
/// The reader calls it in the order of the file: beginSpectrum(), then for each array
/// beginArray(), text(), endArray(), and finish(); parameters whenever they come.
class SpectrumBuilder
{
public:
    /// Counts go to \a summary, which must outlive this object.
    explicit SpectrumBuilder(RunSummary *summary);

    /// Begins a spectrum; \a length is what it declares for its arrays, -1 if nothing.
    void beginSpectrum(std::string_view id, qint64 length, qint64 byteOffset);
    void spectrumParam(const CvParam &param);

    /// Begins an array; \a length is its own declared length, -1 if it has none.
    void beginArray(qint64 length);
    void arrayParam(const CvParam &param);
    /// Adds to the text of the array; false if it grows beyond \a maxBytes.
    bool text(const char *characters, qsizetype count, qint64 maxBytes);
    /// Decodes the array if it is one of the two. Returns the damage that was found, if any.
    std::optional<QString> endArray(qint64 maxBytes);

    /// The finished spectrum.
    Spectrum finish();

private:
    enum class Role { Unknown, Mz, Intensity, Other };

    struct Array
    {
        Role role = Role::Unknown;
        ArrayFormat format;
        qint64 length = -1;
        QString name;        // of the array, where its role is neither of the two
        QString type;        // of the numbers, where it is not supported
        QString compression; // where it is not supported
    };
    struct Axis
    {
        bool present = false;
        std::vector<double> values;
    };

    void setAside(const QString &reason);
    QString unsupportedReason() const;
    std::optional<QString> decode(Axis *axis, qint64 maxBytes);

    RunSummary *m_summary;
    BinaryArrayDecoder m_decoder;
    Spectrum m_spectrum;
    qint64 m_length = -1;
    Array m_array;
    QByteArray m_text;
    Axis m_x;
    Axis m_y;
};

} // namespace kyv::runs
