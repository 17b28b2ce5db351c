// Runs of words against the stream's own operators: the same devices, once through readWords() and
// writeWords(), once word by word.

#include "internal/StreamWords.h"

#include <QBuffer>
#include <QDataStream>
#include <QFile>
#include <QTemporaryFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <unistd.h>
#include <vector>

using namespace kyv::compressor::internal;

namespace {

constexpr auto byteOrders = {QDataStream::BigEndian, QDataStream::LittleEndian};

QByteArray numberedBytes(qsizetype count)
{
    QByteArray bytes(count, '\0');
    std::iota(bytes.begin(), bytes.end(), char(1));
    return bytes;
}

/// A device without positions that gives at most so many bytes at a time, and none in every
/// third call.
class DrippingDevice : public QIODevice
{
public:
    DrippingDevice(const QByteArray &content, qint64 drop)
        : m_content(content)
        , m_drop(drop)
    {}
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        if (++m_calls % 3 == 0)
            return 0;
        const qint64 size = std::min({maxSize, m_drop, m_content.size() - m_position});
        std::copy_n(m_content.constData() + m_position, size, data);
        m_position += size;
        return size;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_content;
    qint64 m_drop;
    qint64 m_position = 0;
    int m_calls = 0;
};

/// A device with room for so many bytes. One that is strict refuses what doesn't fit; the others
/// take a part of it.
class NarrowDevice : public QIODevice
{
public:
    NarrowDevice(qint64 room, bool strict)
        : m_room(room)
        , m_strict(strict)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }
    QByteArray content;

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        const qint64 left = m_room - content.size();
        if (size > left && m_strict)
            return -1;
        const qint64 taken = std::min(size, left);
        content.append(data, taken);
        return taken;
    }

private:
    qint64 m_room;
    bool m_strict;
};

/// What reading leaves behind.
struct ReadResult
{
    std::vector<quint32> words;
    QDataStream::Status status;
    QByteArray rest;

    bool operator==(const ReadResult &) const = default;
};

using Prepare = std::function<void(QDataStream &)>;

ReadResult resultOf(QDataStream &stream, std::vector<quint32> words)
{
    const QDataStream::Status status = stream.status();
    QByteArray rest = stream.device() ? stream.device()->read(100) : QByteArray();
    return {std::move(words), status, std::move(rest)};
}

ReadResult readByOperator(QIODevice *device, std::size_t count, QDataStream::ByteOrder order,
                          const Prepare &prepare)
{
    QDataStream stream(device);
    stream.setByteOrder(order);
    prepare(stream);
    std::vector<quint32> words(count, 0xDEADBEEF);
    for (quint32 &word : words)
        stream >> word;
    return resultOf(stream, std::move(words));
}

ReadResult readInRuns(QIODevice *device, std::size_t count, QDataStream::ByteOrder order,
                      const Prepare &prepare)
{
    QDataStream stream(device);
    stream.setByteOrder(order);
    prepare(stream);
    std::vector<quint32> words(count, 0xDEADBEEF);
    const std::size_t half = count / 2;
    readWords(stream, words.data(), qint64(half));
    readWords(stream, words.data() + half, qint64(count - half));
    return resultOf(stream, std::move(words));
}

void expectSameReading(
    const std::function<std::unique_ptr<QIODevice>()> &makeDevice, std::size_t count,
    const Prepare &prepare = [](QDataStream &) {})
{
    for (const QDataStream::ByteOrder order : byteOrders) {
        const auto first = makeDevice();
        const auto second = makeDevice();
        ASSERT_EQ(readInRuns(first.get(), count, order, prepare),
                  readByOperator(second.get(), count, order, prepare));
    }
}

std::unique_ptr<QIODevice> openBuffer(const QByteArray &content)
{
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(content);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

} // namespace

TEST(StreamWordsTest, wordsFollowTheByteOrder)
{
    const QByteArray bytes = QByteArray::fromHex("01020304 05060708");
    quint32 words[2] = {};
    QDataStream big(bytes);
    EXPECT_EQ(readWords(big, words, 2), 2);
    EXPECT_EQ(words[0], 0x01020304u);
    EXPECT_EQ(words[1], 0x05060708u);

    QDataStream little(bytes);
    little.setByteOrder(QDataStream::LittleEndian);
    EXPECT_EQ(readWords(little, words, 2), 2);
    EXPECT_EQ(words[0], 0x04030201u);

    QByteArray written;
    QDataStream stream(&written, QIODevice::WriteOnly);
    words[0] = 0x01020304;
    words[1] = 0x05060708;
    writeWords(stream, words, 2);
    EXPECT_EQ(written, bytes);
}

TEST(StreamWordsTest, shortBuffersReadAsTheOperatorDoes)
{
    for (qsizetype size = 0; size <= 25; ++size) {
        SCOPED_TRACE(size);
        expectSameReading([&] { return openBuffer(numberedBytes(size)); }, 5);
    }
}

TEST(StreamWordsTest, filesReadAsTheOperatorDoes)
{
    for (const qsizetype size : {0, 3, 4, 39, 40, 41, 40000}) {
        SCOPED_TRACE(size);
        QTemporaryFile file;
        ASSERT_TRUE(file.open());
        file.write(numberedBytes(size));
        file.flush();
        const auto open = [&] {
            auto again = std::make_unique<QFile>(file.fileName());
            again->open(QIODevice::ReadOnly);
            return again;
        };
        expectSameReading(open, 10);
        expectSameReading(open, 10001);
    }
}

TEST(StreamWordsTest, aFailedStreamReadsOn)
{
    expectSameReading([] { return openBuffer(numberedBytes(20)); }, 4,
                      [](QDataStream &stream) { stream.setStatus(QDataStream::ReadCorruptData); });
}

TEST(StreamWordsTest, aFailedTransactionReadsNothing)
{
    expectSameReading([] { return openBuffer(numberedBytes(20)); }, 4,
                      [](QDataStream &stream) {
                          stream.startTransaction();
                          stream.setStatus(QDataStream::ReadCorruptData);
                      });
    expectSameReading([] { return openBuffer(numberedBytes(9)); }, 4,
                      [](QDataStream &stream) { stream.startTransaction(); });
}

TEST(StreamWordsTest, aTransactionCanBeRolledBack)
{
    const auto device = openBuffer(numberedBytes(10));
    QDataStream stream(device.get());
    stream.startTransaction();
    quint32 words[3] = {};
    EXPECT_EQ(readWords(stream, words, 3), 2);
    EXPECT_FALSE(stream.commitTransaction());
    EXPECT_EQ(stream.status(), QDataStream::ReadPastEnd);
    stream.resetStatus();
    EXPECT_EQ(readWords(stream, words, 2), 2);
    EXPECT_EQ(words[0], 0x01020304u);
}

TEST(StreamWordsTest, devicesThatDripReadAsTheOperatorDoes)
{
    for (const qint64 drop : {1, 2, 3, 4, 5, 7, 8, 30}) {
        for (const bool unbuffered : {false, true}) {
            SCOPED_TRACE(testing::Message() << drop << " at a time, unbuffered " << unbuffered);
            const auto open = [&] {
                auto device = std::make_unique<DrippingDevice>(numberedBytes(90), drop);
                device->open(unbuffered ? QIODevice::ReadOnly | QIODevice::Unbuffered
                                        : QIODevice::OpenMode(QIODevice::ReadOnly));
                return device;
            };
            expectSameReading(open, 12);
            expectSameReading(open, 40);
        }
    }
}

TEST(StreamWordsTest, pipesReadAsTheOperatorDoes)
{
    for (const qsizetype size : {0, 7, 40, 4000}) {
        SCOPED_TRACE(size);
        const auto open = [&]() -> std::unique_ptr<QIODevice> {
            int ends[2];
            if (pipe(ends) != 0)
                return nullptr;
            const QByteArray bytes = numberedBytes(size);
            const bool written = write(ends[1], bytes.constData(), size_t(size)) == size;
            close(ends[1]);
            auto file = std::make_unique<QFile>();
            EXPECT_TRUE(file->open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
            EXPECT_TRUE(written && file->isSequential());
            return file;
        };
        expectSameReading(open, 20);
        expectSameReading(open, 1001);
    }
}

TEST(StreamWordsTest, aStreamWithoutDeviceReadsZeros)
{
    QDataStream stream;
    quint32 words[3] = {1, 2, 3};
    EXPECT_EQ(readWords(stream, words, 3), 0);
    EXPECT_EQ(words[0] | words[1] | words[2], 0u);
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_TRUE(knowsBytesLeft(stream));
    EXPECT_EQ(bytesLeft(stream), 0);
    writeWords(stream, words, 3);
}

TEST(StreamWordsTest, bytesLeftAreTheDevicesOwn)
{
    QDataStream stream(numberedBytes(11));
    EXPECT_TRUE(knowsBytesLeft(stream));
    EXPECT_EQ(bytesLeft(stream), 11);
    qint16 number = 0;
    stream >> number;
    EXPECT_EQ(bytesLeft(stream), 9);

    DrippingDevice dripping(numberedBytes(11), 2);
    dripping.open(QIODevice::ReadOnly);
    EXPECT_FALSE(knowsBytesLeft(QDataStream(&dripping)));
}

TEST(StreamWordsTest, narrowDevicesFillAsByTheOperator)
{
    for (const bool strict : {false, true}) {
        for (qint64 room = 0; room <= 44; ++room) {
            for (const QDataStream::ByteOrder order : byteOrders) {
                SCOPED_TRACE(testing::Message() << room << " bytes, strict " << strict);
                std::vector<quint32> words = {1, 0xA0000002, 3, 4, 5, 6, 7, 8, 9, 10};
                NarrowDevice plain(room, strict);
                QDataStream plainStream(&plain);
                plainStream.setByteOrder(order);
                for (const quint32 word : words)
                    plainStream << word;

                NarrowDevice device(room, strict);
                QDataStream stream(&device);
                stream.setByteOrder(order);
                writeWords(stream, words.data(), qint64(words.size()));
                ASSERT_EQ(device.content, plain.content);
                ASSERT_EQ(stream.status(), plainStream.status());
            }
        }
    }
}

TEST(StreamWordsTest, aFailedStreamWritesNothing)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setStatus(QDataStream::WriteFailed);
    quint32 word = 1;
    writeWords(stream, &word, 1);
    EXPECT_TRUE(bytes.isEmpty());
}
