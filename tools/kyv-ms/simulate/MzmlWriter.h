#pragma once

#include "../mzml/Run.h"

class QIODevice;

namespace kyv::runs {

/// Writes mzML 1.1, one spectrum after the other, without an index.
///
/// m/z as 64-bit floats, intensities as 32-bit floats; each array zlib-compressed if its format
/// says so. The output has no dates and names no machine: the same spectra give the same bytes
/// (with zlib, the same bytes from the same release of the compressor).
class MzmlWriter
{
public:
    explicit MzmlWriter(QIODevice &device);

    /// Writes what stands before the spectra; \a count of them must follow.
    bool begin(const QString &runId, qsizetype count);
    bool write(const Spectrum &spectrum);
    /// Writes the end. False, here and above, if the device does not take the bytes.
    bool end();

    /// Bytes written so far.
    qint64 bytes() const { return m_bytes; }

private:
    bool put(const QByteArray &bytes);

    QIODevice &m_device;
    qint64 m_bytes = 0;
};

} // namespace kyv::runs
