// The rare half of the unit allocator: start, splitting, carving and gluing.
//
// With a gibibyte of memory these run seldom or never; with a small block they run all the time,
// and every address they choose is part of the format.

#include "internal/UnitAllocator.h"

#include <cstring>

namespace kyv::compressor::internal {

using namespace ppmd;

void UnitAllocator::start() noexcept
{
    m_free.fill({});
    m_text = 1;
    m_hiUnit = m_text + m_block.size;
    m_loUnit = m_unitsStart = m_hiUnit - unitSize * 7 * (m_block.size / 8 / unitSize);
    m_glueCount = 0;
    m_gluePasses = 0;
}

quint32 UnitAllocator::usedMemory() const noexcept
{
    quint32 freeUnits = 0;
    for (size_t i = 0; i < m_free.size(); ++i)
        freeUnits += m_free[i].count * indexToUnits[i];
    return m_block.size - (m_hiUnit - m_loUnit) - (m_unitsStart - m_text) - unitSize * freeUnits;
}

/// Serves a size whose list and whose gap are empty from a larger list, else by gluing or carving.
UnitAllocator::Offset UnitAllocator::allocateRare(int index) noexcept
{
    while (true) {
        for (int larger = index + 1; larger < indexCount; ++larger) {
            if (m_free[size_t(larger)].count == 0)
                continue;
            const Offset offset = take(larger);
            const quint32 unitCount = indexToUnits[size_t(index)];
            releaseUnits(offset + unitSize * unitCount, indexToUnits[size_t(larger)] - unitCount);
            return offset;
        }
        // Format: the schedule of gluing. Every exhaustion counts, the one after gluing too.
        if (m_glueCount-- != 0)
            return carve(index);
        glue();
        if (m_free[size_t(index)].count != 0)
            return take(index);
    }
}

UnitAllocator::Offset UnitAllocator::carve(int index) noexcept
{
    const quint32 bytes = unitSize * indexToUnits[size_t(index)];
    if (m_unitsStart - m_text <= bytes)
        return 0;
    ++m_carves;
    return m_unitsStart -= bytes;
}

/// Puts 1 to 128 units on the lists: as one block if there is a list of that size, else as the
/// largest block with a list and the up to three units behind it.
void UnitAllocator::releaseUnits(Offset offset, quint32 unitCount) noexcept
{
    int index = unitsToIndex[unitCount - 1];
    if (indexToUnits[size_t(index)] != unitCount) {
        const quint32 kept = indexToUnits[size_t(--index)];
        const quint32 rest = unitCount - kept;
        insert(offset + unitSize * kept, int(rest) - 1, rest);
    }
    insert(offset, index, indexToUnits[size_t(index)]);
}

/// True if the unit at \a offset begins a free block; asks bytes, whatever record they belong to.
bool UnitAllocator::isFree(Offset offset) const noexcept
{
    if (offset > m_block.size) // behind the last unit
        return false;
    quint32 marker;
    std::memcpy(&marker, at(offset), sizeof marker);
    return marker == freeMarker;
}

/// Joins free blocks that touch, and sorts what they became back into the lists.
void UnitAllocator::glue() noexcept
{
    ++m_gluings;
    if (m_loUnit != m_hiUnit) // so that no block grows into the gap
        *at(m_loUnit) = 0;

    Offset offset = collectFree();
    while (offset != 0) {
        const FreeBlock block = *freeBlock(offset);
        quint32 left = block.unitCount;
        if (left != 0) {
            for (; left > maxUnitCount; left -= maxUnitCount) {
                insert(offset, indexCount - 1, maxUnitCount);
                offset += unitSize * maxUnitCount;
            }
            releaseUnits(offset, left);
        }
        offset = block.next;
    }
    m_glueCount = quint32(1) << ((13 + m_gluePasses) % 32);
    ++m_gluePasses;
}

/// Empties the lists into one, in their order, and lets every block absorb the free blocks
/// behind it. An absorbed block has 0 units. Returns the head of that list.
///
/// A block on the list can only be absorbed by one that is taken later, so its links are no
/// longer needed when the larger block is cut up.
UnitAllocator::Offset UnitAllocator::collectFree() noexcept
{
    Offset head = 0;
    Offset last = 0;
    for (FreeList &list : m_free) {
        while (list.count != 0) {
            const Offset offset = take(int(&list - m_free.data()));
            FreeBlock *block = freeBlock(offset);
            if (block->unitCount == 0)
                continue;
            while (isFree(offset + unitSize * block->unitCount)) {
                FreeBlock *behind = freeBlock(offset + unitSize * block->unitCount);
                block->unitCount += behind->unitCount;
                behind->unitCount = 0;
            }
            block->next = 0;
            (last != 0 ? freeBlock(last)->next : head) = offset;
            last = offset;
        }
        list.head = 0;
    }
    return head;
}

} // namespace kyv::compressor::internal
