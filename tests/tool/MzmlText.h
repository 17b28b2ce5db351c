#pragma once

#include "mzml/Run.h"

#include <QBuffer>
#include <QByteArray>
#include <QtEndian>

#include <zlib.h>

#include <initializer_list>

/// Hand-written mzML for the tests of the reader.
namespace kyv::test {

/// The little-endian memory of \a values.
template <typename Value>
QByteArray littleEndian(std::initializer_list<Value> values)
{
    QByteArray bytes(qsizetype(values.size() * sizeof(Value)), Qt::Uninitialized);
    char *target = bytes.data();
    for (const Value value : values) {
        qToLittleEndian(value, target);
        target += sizeof(Value);
    }
    return bytes;
}

inline QByteArray zlibOf(const QByteArray &bytes)
{
    uLongf size = compressBound(uLong(bytes.size()));
    QByteArray packed(qsizetype(size), Qt::Uninitialized);
    compress2(reinterpret_cast<Bytef *>(packed.data()), &size,
              reinterpret_cast<const Bytef *>(bytes.constData()), uLong(bytes.size()), 9);
    return packed.left(qsizetype(size));
}

inline QByteArray gzipOf(const QByteArray &bytes)
{
    z_stream stream = {};
    deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    QByteArray packed(qsizetype(deflateBound(&stream, uLong(bytes.size()))), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.constData()));
    stream.avail_in = uInt(bytes.size());
    stream.next_out = reinterpret_cast<Bytef *>(packed.data());
    stream.avail_out = uInt(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return packed;
}

inline QByteArray param(const char *accession, const char *name, const QByteArray &value = {})
{
    return QByteArray("<cvParam cvRef=\"MS\" accession=\"") + accession + "\" name=\"" + name
           + "\" value=\"" + value + "\"/>";
}

inline const QByteArray mz = param("MS:1000514", "m/z array");
inline const QByteArray intensity = param("MS:1000515", "intensity array");
inline const QByteArray float64 = param("MS:1000523", "64-bit float");
inline const QByteArray float32 = param("MS:1000521", "32-bit float");
inline const QByteArray int64 = param("MS:1000522", "64-bit integer");
inline const QByteArray int32 = param("MS:1000519", "32-bit integer");
inline const QByteArray noCompression = param("MS:1000576", "no compression");
inline const QByteArray zlib = param("MS:1000574", "zlib compression");

/// One binaryDataArray with \a params around the text of \a bytes.
inline QByteArray array(const QByteArray &params, const QByteArray &bytes,
                        const QByteArray &attributes = {})
{
    return "<binaryDataArray encodedLength=\"0\"" + attributes + ">" + params + "<binary>"
           + bytes.toBase64() + "</binary></binaryDataArray>";
}

inline QByteArray spectrum(int length, const QByteArray &content, const QByteArray &id = "scan=1")
{
    return "<spectrum index=\"0\" id=\"" + id + "\" defaultArrayLength=\""
           + QByteArray::number(length) + "\">" + content + "</spectrum>";
}

/// A whole document around \a spectra.
inline QByteArray mzml(const QByteArray &spectra, const QByteArray &before = {})
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<mzML>" + before
           + "<run id=\"r\"><spectrumList count=\"1\">" + spectra
           + "</spectrumList></run></mzML>\n";
}

/// m/z 100 and 200.5, intensities 1 and 2.5, without compression.
inline QByteArray twoPoints()
{
    return array(mz + float64 + noCompression, littleEndian<double>({100, 200.5}))
           + array(intensity + float32 + noCompression, littleEndian<float>({1, 2.5f}));
}

inline kyv::runs::LoadedRun load(const QByteArray &document)
{
    QBuffer buffer;
    buffer.setData(document);
    buffer.open(QIODevice::ReadOnly);
    return kyv::runs::loadRun(buffer);
}

} // namespace kyv::test
