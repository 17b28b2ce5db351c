#pragma once

#include <QString>

#include <memory>

class QIODevice;
class QSaveFile;

namespace kyv::tool {

/// Where a command writes: a file that appears only when it is complete, or something that cannot
/// be replaced (standard output for "-", a pipe, a device) and is written as it comes.
class OutputFile
{
public:
    /// Opens \a path; error() says what went wrong.
    explicit OutputFile(const QString &path);
    ~OutputFile();

    bool isOpen() const;
    QIODevice &device() { return *m_device; }
    QString error() const;

    /// Completes the output. Without it, a file stays as it was before.
    bool commit();

private:
    std::unique_ptr<QIODevice> m_device;
    QSaveFile *m_saveFile = nullptr; // the device, if it is a file
};

} // namespace kyv::tool
