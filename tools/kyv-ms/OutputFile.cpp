#include "OutputFile.h"

#include <QFileInfo>
#include <QSaveFile>

#include <cstdio>

namespace kyv::tool {

OutputFile::OutputFile(const QString &path)
{
    const QFileInfo info(path);
    if (path == QLatin1String("-")) {
        auto file = std::make_unique<QFile>();
        file->open(stdout, QIODevice::WriteOnly);
        m_device = std::move(file);
    } else if (info.exists() && !info.isFile() && !info.isDir()) {
        auto file = std::make_unique<QFile>(path);
        file->open(QIODevice::WriteOnly);
        m_device = std::move(file);
    } else {
        auto file = std::make_unique<QSaveFile>(path);
        m_saveFile = file.get();
        file->open(QIODevice::WriteOnly);
        m_device = std::move(file);
    }
}

OutputFile::~OutputFile() = default;

bool OutputFile::isOpen() const
{
    return m_device->isOpen();
}

QString OutputFile::error() const
{
    return m_device->errorString();
}

bool OutputFile::commit()
{
    if (m_saveFile)
        return m_saveFile->commit();
    auto *file = static_cast<QFile *>(m_device.get());
    return file->flush();
}

} // namespace kyv::tool
