#pragma once

#include <ms_compressor/MsDataPacker.h>

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>
#include <QList>

#include <array>

namespace kyv::test {

/// How an application may set up the stream that lists go through.
struct StreamSetting
{
    bool littleEndian = false;
    bool singlePrecision = false;

    void applyTo(QDataStream &stream) const
    {
        if (littleEndian)
            stream.setByteOrder(QDataStream::LittleEndian);
        if (singlePrecision)
            stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
    }
};

inline constexpr std::array<StreamSetting, 4> streamSettings{
    {{false, false}, {true, false}, {false, true}, {true, true}}};

/// The record of parameters with the given fields, in a default stream; only records can hold
/// parameters that PackParameters::create() does not make.
struct ParameterFields
{
    quint8 method = 1;
    quint8 bits = 10;
    quint8 bitOffset = 0;
    double power = 0.5;
    float singleCount = 1;
    float rawOffset = 0;
    float rawMax = 100;

    QByteArray record() const
    {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << qint16(1) << qint8(method);
        if (method == 1)
            stream << qint8(bits) << qint8(bitOffset) << power << singleCount << rawOffset
                   << rawMax;
        return bytes;
    }

    compressor::PackParameters parameters() const
    {
        const QByteArray bytes = record();
        QDataStream stream(bytes);
        return compressor::PackParameters::read(stream).value();
    }
};

} // namespace kyv::test
