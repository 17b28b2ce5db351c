#pragma once

#include "Run.h"

#include <QByteArray>

#include <memory>
#include <vector>

struct libdeflate_decompressor;

namespace kyv::runs {

/// What decoding an array came to.
struct ArrayOutcome
{
    enum class Kind {
        Decoded,
        WrongLength, ///< Sound, but not as many values as declared.
        Damaged,     ///< Not base64, or not a zlib stream.
    };
    Kind kind = Kind::Decoded;
    QString reason; ///< Empty if decoded.
};

/// Turns the text of a <binary> element into numbers: base64, zlib, little-endian values.
///
/// Keeps its buffers from one array to the next; an object serves one thread.
class BinaryArrayDecoder
{
public:
    BinaryArrayDecoder();
    ~BinaryArrayDecoder();

    /// Replaces \a values by the \a length values of \a text. Nothing larger than \a maxBytes is
    /// unpacked. The format must name a supported type and compression.
    ArrayOutcome decode(const QByteArray &text, ArrayFormat format, qint64 length, qint64 maxBytes,
                        std::vector<double> *values);

private:
    ArrayOutcome unpack(const QByteArray &packed, qint64 expected, qint64 maxBytes);

    struct FreeDecompressor
    {
        void operator()(libdeflate_decompressor *decompressor) const;
    };
    std::unique_ptr<libdeflate_decompressor, FreeDecompressor> m_decompressor;
    QByteArray m_bytes; // the array's values as stored, little-endian
};

/// Bytes of one value; 0 for a type that is not supported.
int bytesPerValue(NumberType type);

} // namespace kyv::runs
