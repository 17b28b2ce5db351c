#pragma once

#include <QByteArray>
#include <QIODevice>

#include <algorithm>

namespace kyv::test {

/// A device that cannot tell what it still holds, as a socket.
class SequentialDevice : public QIODevice
{
public:
    explicit SequentialDevice(const QByteArray &bytes)
        : m_bytes(bytes)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *to, qint64 size) override
    {
        const qint64 n = std::min(size, qint64(m_bytes.size()) - m_position);
        std::copy_n(m_bytes.constData() + m_position, n, to);
        m_position += n;
        return n;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_bytes;
    qint64 m_position = 0;
};

} // namespace kyv::test
