#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

namespace kyv::test {

/// The folder of stored payloads that come with the tests.
inline QString testDataPath(const QString &name)
{
    return QStringLiteral(KYV_TEST_DATA "/") + name;
}

/// The folder that the environment variable \a variable names, or an empty text if there is none.
///
/// KYV_DATA_DIR holds measured runs, KYV_VECTORS_DIR conformance vectors. Both are optional: a
/// test that needs one skips and says so where it is missing.
inline QString folderFromEnvironment(const char *variable)
{
    const QString path = qEnvironmentVariable(variable);
    return !path.isEmpty() && QDir(path).exists() ? path : QString();
}

#define KYV_FOLDER_OR_SKIP(folder, variable)                                                       \
    const QString folder = ::kyv::test::folderFromEnvironment(variable);                           \
    if (folder.isEmpty())                                                                          \
    GTEST_SKIP() << variable << " names no folder; it would add real files to this test"

/// The whole content of a file; a test failure if it cannot be read.
inline QByteArray fileContent(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "cannot read " << path.toStdString();
        return {};
    }
    return file.readAll();
}

} // namespace kyv::test
