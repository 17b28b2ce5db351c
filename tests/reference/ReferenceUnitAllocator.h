#pragma once

#include <QtEndian>
#include <QtGlobal>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace kyv::test::reference {

/// A place in the block, counted from one byte before its start; 0 is no place at all.
using Offset = quint32;

inline constexpr Offset None = 0;

/// The size of the model's block: MiB as a rule, bytes where a test wants it exhausted early.
struct BlockSize
{
    quint32 bytes;

    constexpr BlockSize(int mebibytes)
        : bytes(quint32(mebibytes) << 20)
    {}
    static constexpr BlockSize ofBytes(quint32 bytes)
    {
        BlockSize size(0);
        size.bytes = bytes;
        return size;
    }
};

/// How often the rare paths of the byte format ran since the codec was made.
struct RarePaths
{
    quint64 restarts = 0;     ///< the model was restored
    quint64 gluings = 0;      ///< passes that merged free blocks
    quint64 laterGluings = 0; ///< those of them that were not a start\'s first
    quint64 carves = 0;       ///< blocks taken from below the units area
    quint64 rescales = 0;
    quint64 rescalesToBinary = 0; ///< rescales that left one state
    quint64 failedShrinks = 0;    ///< rescales that ended in a restoration
    quint64 rootEscapes = 0;      ///< escapes that ended in the root, end marks not counted
    quint64 rangeCuts = 0;        ///< cuts made because a total exceeded the range
};

/// The pool of 12-byte units, as docs/formats/bytes.md ("Units") words it.
class ReferenceUnitAllocator
{
public:
    static constexpr quint32 UnitSize = 12;

    ReferenceUnitAllocator(BlockSize size, RarePaths &rarePaths);

    void start();

    Offset allocateContext();
    Offset allocateUnits(quint32 unitCount);
    Offset expandUnits(Offset old, quint32 oldUnitCount); ///< by one unit
    Offset shrinkUnits(Offset old, quint32 oldUnitCount, quint32 newUnitCount);
    void freeUnits(Offset block, quint32 unitCount);

    Offset text() const { return m_text; }
    Offset unitsStart() const { return m_unitsStart; }
    bool pushText(quint8 symbol); ///< false where the text area is full then
    void popText() { --m_text; }

    quint8 &byte(Offset at) { return m_base[at]; }
    quint16 word(Offset at) const { return qFromLittleEndian<quint16>(m_base + at); }
    quint32 offset(Offset at) const { return qFromLittleEndian<quint32>(m_base + at); }
    void setWord(Offset at, quint32 value)
    {
        qToLittleEndian<quint16>(quint16(value), m_base + at);
    }
    void setOffset(Offset at, quint32 value) { qToLittleEndian<quint32>(value, m_base + at); }
    void copy(Offset to, Offset from, quint32 size)
    {
        std::memcpy(m_base + to, m_base + from, size);
    }

    static quint32 indexOfUnits(quint32 unitCount); ///< the smallest size class that holds them
    static quint32 unitsOfIndex(quint32 index);

private:
    static constexpr quint32 ListCount = 38;
    static constexpr quint32 FreeMarker = 0xFFFFFFFF;

    struct FreeList
    {
        quint32 count = 0;
        Offset head = None;
    };

    Offset allocateRarely(quint32 index);
    void glue();
    void putBack(Offset block, quint32 unitCount);
    void pushFree(quint32 index, Offset block, quint32 unitCount);
    Offset popFree(quint32 index);

    struct Free
    {
        void operator()(quint8 *memory) const { std::free(memory); }
    };

    quint32 m_size;
    std::unique_ptr<quint8, Free> m_memory; // zeroed by the system, page by page where touched
    quint8 *m_base;                         // one byte before the block; never dereferenced at 0
    RarePaths &m_rarePaths;

    Offset m_text = None;
    Offset m_unitsStart = None;
    Offset m_low = None;
    Offset m_high = None;
    quint32 m_glueCount = 0;
    quint32 m_gluePasses = 0;
    std::array<FreeList, ListCount> m_free;
};

} // namespace kyv::test::reference
