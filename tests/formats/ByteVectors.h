#pragma once

#include "TestData.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <algorithm>
#include <array>
#include <optional>

namespace kyv::test {

/// One stored input of the byte service with the streams it must give.
struct ByteVector
{
    QByteArray name;
    int mebibytes = 0;
    QByteArray input;
    QByteArray stored; ///< with a capacity of the input's length
    QByteArray uncut;
    std::optional<std::array<quint64, 5>> rarePaths; ///< in the manifest's order
};

inline ByteVector readByteVector(const QString &folder, const QByteArray &name, int mebibytes)
{
    const QString path = folder + QLatin1Char('/') + QString::fromUtf8(name);
    const auto streamPath = [&](const QString &ending) {
        const QString own = path + QStringLiteral(".mem1") + ending;
        return mebibytes == 1 && QFile::exists(own) ? own : path + ending;
    };
    ByteVector vector{name,
                      mebibytes,
                      fileContent(path + QStringLiteral(".bin")),
                      fileContent(streamPath(QStringLiteral(".enc"))),
                      {},
                      {}};
    const QString uncut = streamPath(QStringLiteral(".full.enc"));
    vector.uncut = QFile::exists(uncut) ? fileContent(uncut) : vector.stored;
    return vector;
}

/// Every stream of a folder laid out as tests/data/bytes/README.md says.
inline QList<ByteVector> readByteVectors(const QString &folder)
{
    QList<ByteVector> vectors;
    const QByteArray manifest = fileContent(folder + QStringLiteral("/manifest.tsv"));
    for (const QByteArray &line : manifest.split('\n').mid(1)) {
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() != 11)
            continue;
        vectors.append(readByteVector(folder, fields[0], fields[1].toInt()));
        std::array<quint64, 5> counts{};
        for (qsizetype i = 0; i < 5; ++i)
            counts[std::size_t(i)] = fields[6 + i].toULongLong();
        vectors.back().rarePaths = counts;
    }
    for (const char *name : {"special_range_underflow", "special_range_underflow_b"}) {
        if (!QFile::exists(folder + QLatin1Char('/') + QLatin1String(name)
                           + QStringLiteral(".bin")))
            continue;
        vectors.append(readByteVector(folder, name, 1024));
        vectors.append(readByteVector(folder, name, 1));
    }
    // Together, vectors of one size share the thread's block.
    std::stable_sort(vectors.begin(), vectors.end(), [](const ByteVector &a, const ByteVector &b) {
        return a.mebibytes < b.mebibytes;
    });
    return vectors;
}

} // namespace kyv::test
