#pragma once

#include "internal/ModelMemory.h"
#include "internal/PpmdTables.h"

#include <array>

namespace kyv::compressor::internal {

/// Hands out units of 12 bytes inside the model's block, and keeps the text area below them.
///
///     start of block                                                                  end of block
///     | text, grows up -> pText ... UnitsStart | arrays -> LoUnit ... HiUnit <- contexts |
///
/// Arrays of states grow upward from LoUnit, contexts downward from HiUnit, and what is freed
/// waits in 38 lists, one for each size. Once the gap between them is used up, arrays are also
/// carved downward from UnitsStart. Which address an allocation gets is part of the format: it
/// decides at which symbol the memory is exhausted, and encoder and decoder restart there.
/// See docs/formats/bytes.md, "Unit allocator".
///
/// A reference is a 32-bit offset from the byte before the block, so 0 stands for no record.
class UnitAllocator
{
public:
    using Offset = quint32;

    explicit UnitAllocator(ModelMemory::Block block) noexcept
        : m_block(block)
    {}

    /// Empties the lists and lays the areas out afresh: an eighth of the block for the text.
    void start() noexcept;

    /// The record at \a offset, which must lie inside the block.
    Q_ALWAYS_INLINE quint8 *at(Offset offset) const noexcept
    {
        return m_block.bytes + (size_t(offset) - 1);
    }
    /// The reference to a record inside the block.
    Q_ALWAYS_INLINE Offset offsetOf(const void *record) const noexcept
    {
        return Offset(static_cast<const quint8 *>(record) - m_block.bytes + 1);
    }

    /// One unit for a context, or 0 if the memory is exhausted.
    Q_ALWAYS_INLINE Offset allocateContext() noexcept
    {
        if (m_hiUnit != m_loUnit)
            return m_hiUnit -= ppmd::unitSize;
        return m_free[0].count != 0 ? take(0) : allocateRare(0);
    }

    /// A block of indexToUnits[\a index] units, or 0 if the memory is exhausted.
    Q_ALWAYS_INLINE Offset allocate(int index) noexcept
    {
        if (m_free[size_t(index)].count != 0)
            return take(index);
        const quint32 bytes = ppmd::unitSize * ppmd::indexToUnits[size_t(index)];
        if (bytes <= m_hiUnit - m_loUnit) {
            const Offset offset = m_loUnit;
            m_loUnit += bytes;
            return offset;
        }
        return allocateRare(index);
    }

    /// Puts a block of indexToUnits[\a index] units at the head of its list.
    Q_ALWAYS_INLINE void release(Offset offset, int index) noexcept
    {
        insert(offset, index, ppmd::indexToUnits[size_t(index)]);
    }

    /// End of the text; the next byte goes there.
    Q_ALWAYS_INLINE Offset text() const noexcept { return m_text; }
    /// Where the units begin: a reference below it points into the text.
    Q_ALWAYS_INLINE Offset unitsStart() const noexcept { return m_unitsStart; }
    /// Appends \a symbol to the text.
    Q_ALWAYS_INLINE void appendText(quint8 symbol) noexcept { *at(m_text++) = symbol; }
    /// Takes the last byte of the text back.
    Q_ALWAYS_INLINE void dropText() noexcept { --m_text; }

    /// Bytes in use: the text and every unit that is neither free nor in the gap.
    quint32 usedMemory() const noexcept;

    /// Bytes that contexts and arrays have spread over, free blocks among them.
    quint32 unitBytes() const noexcept
    {
        return m_block.size - (m_hiUnit - m_loUnit) - (m_unitsStart - 1);
    }

    Offset loUnit() const noexcept { return m_loUnit; }
    Offset hiUnit() const noexcept { return m_hiUnit; }
    /// Blocks that wait on free list \a index.
    quint32 freeCount(int index) const noexcept { return m_free[size_t(index)].count; }
    /// How often free blocks were glued and arrays carved from UnitsStart since construction.
    int gluingCount() const noexcept { return m_gluings; }
    int carveCount() const noexcept { return m_carves; }

private:
    /// What a free block begins with. No live record begins with the marker: a context never has
    /// all its flags set, and an array begins with two different symbols.
    struct FreeBlock
    {
        quint32 marker;
        Offset next;
        quint32 unitCount;
    };
    static_assert(sizeof(FreeBlock) == ppmd::unitSize);
    static constexpr quint32 freeMarker = 0xFFFFFFFF;

    struct FreeList
    {
        quint32 count;
        Offset head;
    };

    Q_ALWAYS_INLINE FreeBlock *freeBlock(Offset offset) const noexcept
    {
        return reinterpret_cast<FreeBlock *>(at(offset));
    }
    bool isFree(Offset offset) const noexcept;

    Q_ALWAYS_INLINE Offset take(int index) noexcept
    {
        FreeList &list = m_free[size_t(index)];
        const Offset offset = list.head;
        list.head = freeBlock(offset)->next;
        --list.count;
        return offset;
    }
    Q_ALWAYS_INLINE void insert(Offset offset, int index, quint32 unitCount) noexcept
    {
        FreeList &list = m_free[size_t(index)];
        *freeBlock(offset) = {freeMarker, list.head, unitCount};
        list.head = offset;
        ++list.count;
    }

    Offset allocateRare(int index) noexcept;
    Offset carve(int index) noexcept;
    void releaseUnits(Offset offset, quint32 unitCount) noexcept;
    void glue() noexcept;
    Offset collectFree() noexcept;

    ModelMemory::Block m_block;
    Offset m_text = 0;
    Offset m_unitsStart = 0;
    Offset m_loUnit = 0;
    Offset m_hiUnit = 0;
    quint32 m_glueCount = 0;
    quint32 m_gluePasses = 0;
    std::array<FreeList, ppmd::indexCount> m_free{};
    int m_gluings = 0;
    int m_carves = 0;
};

} // namespace kyv::compressor::internal
