// The unit allocator of the byte format, rule by rule. Free lists are the format's own: a free
// block starts with the marker, the next free block's offset and its size in units.

#include "ReferenceUnitAllocator.h"

#include <new>
#include <vector>

namespace kyv::test::reference {

namespace {

struct SizeClasses
{
    std::array<quint8, 38> unitsOfIndex{};
    std::array<quint8, 128> indexOfUnits{};

    constexpr SizeClasses()
    {
        std::size_t i = 0;
        for (int units = 1; units <= 128; units += i < 4 ? 1 : i < 8 ? 2 : i < 12 ? 3 : 4)
            unitsOfIndex[i++] = quint8(units);
        for (std::size_t units = 1; units <= 128; ++units) {
            std::size_t smallest = 0;
            while (unitsOfIndex[smallest] < units)
                ++smallest;
            indexOfUnits[units - 1] = quint8(smallest);
        }
    }
};

constexpr SizeClasses Classes;

static_assert(Classes.unitsOfIndex[3] == 4 && Classes.unitsOfIndex[4] == 6
              && Classes.unitsOfIndex[7] == 12 && Classes.unitsOfIndex[8] == 15
              && Classes.unitsOfIndex[11] == 24 && Classes.unitsOfIndex[12] == 28
              && Classes.unitsOfIndex[37] == 128);

// The fields of a free block.
constexpr quint32 NextField = 4;
constexpr quint32 SizeField = 8;

} // namespace

ReferenceUnitAllocator::ReferenceUnitAllocator(BlockSize size, RarePaths &rarePaths)
    : m_size(size.bytes)
    , m_memory(static_cast<quint8 *>(std::calloc(m_size, 1)))
    , m_base(m_memory.get() - 1)
    , m_rarePaths(rarePaths)
{
    if (!m_memory)
        throw std::bad_alloc();
    start();
}

quint32 ReferenceUnitAllocator::indexOfUnits(quint32 unitCount)
{
    return Classes.indexOfUnits[unitCount - 1];
}

quint32 ReferenceUnitAllocator::unitsOfIndex(quint32 index)
{
    return Classes.unitsOfIndex[index];
}

void ReferenceUnitAllocator::start()
{
    m_free = {};
    m_text = 1;
    m_high = 1 + m_size;
    m_unitsStart = m_low = m_high - UnitSize * 7 * (m_size / 8 / UnitSize);
    m_glueCount = m_gluePasses = 0;
}

bool ReferenceUnitAllocator::pushText(quint8 symbol)
{
    byte(m_text++) = symbol;
    return m_text < m_unitsStart;
}

Offset ReferenceUnitAllocator::allocateContext()
{
    if (m_high != m_low)
        return m_high -= UnitSize;
    if (m_free[0].head != None)
        return popFree(0);
    return allocateRarely(0);
}

Offset ReferenceUnitAllocator::allocateUnits(quint32 unitCount)
{
    const quint32 index = indexOfUnits(unitCount);
    if (m_free[index].head != None)
        return popFree(index);
    const quint32 size = UnitSize * unitsOfIndex(index);
    if (m_low + size <= m_high) {
        m_low += size;
        return m_low - size;
    }
    return allocateRarely(index);
}

Offset ReferenceUnitAllocator::allocateRarely(quint32 index)
{
    const quint32 units = unitsOfIndex(index);
    for (;;) {
        for (quint32 larger = index + 1; larger < ListCount; ++larger) {
            if (m_free[larger].head == None)
                continue;
            const Offset block = popFree(larger);
            putBack(block + UnitSize * units, unitsOfIndex(larger) - units);
            return block;
        }
        if (m_glueCount-- != 0) {
            const quint32 size = UnitSize * units;
            if (m_unitsStart - m_text <= size)
                return None;
            ++m_rarePaths.carves;
            return m_unitsStart -= size;
        }
        glue();
        if (m_free[index].head != None)
            return popFree(index);
    }
}

void ReferenceUnitAllocator::glue()
{
    ++m_rarePaths.gluings;
    if (m_gluePasses != 0)
        ++m_rarePaths.laterGluings;
    if (m_low != m_high)
        byte(m_low) = 0;

    std::vector<Offset> blocks;
    for (FreeList &list : m_free) {
        for (Offset block = list.head; block != None; block = offset(block + NextField)) {
            quint32 units = offset(block + SizeField);
            if (units == 0)
                continue; // absorbed by a block before it
            for (;;) {
                const Offset follower = block + UnitSize * units;
                if (offset(follower) != FreeMarker)
                    break;
                units += offset(follower + SizeField);
                setOffset(follower + SizeField, 0);
            }
            setOffset(block + SizeField, units);
            blocks.push_back(block);
        }
        list = {};
    }

    for (Offset block : blocks) {
        quint32 units = offset(block + SizeField);
        if (units == 0)
            continue;
        for (; units > 128; units -= 128, block += 128 * UnitSize)
            pushFree(ListCount - 1, block, 128);
        putBack(block, units);
    }

    m_glueCount = quint32(1) << ((13 + m_gluePasses) % 32);
    ++m_gluePasses;
}

/// Puts 1 to 128 units on the free lists: in one piece if a size class fits, else in two.
void ReferenceUnitAllocator::putBack(Offset block, quint32 unitCount)
{
    quint32 index = indexOfUnits(unitCount);
    if (unitsOfIndex(index) != unitCount) {
        --index;
        const quint32 rest = unitCount - unitsOfIndex(index);
        pushFree(rest - 1, block + UnitSize * unitsOfIndex(index), rest);
    }
    pushFree(index, block, unitsOfIndex(index));
}

Offset ReferenceUnitAllocator::expandUnits(Offset old, quint32 oldUnitCount)
{
    if (indexOfUnits(oldUnitCount) == indexOfUnits(oldUnitCount + 1))
        return old;
    const Offset larger = allocateUnits(oldUnitCount + 1);
    if (larger == None)
        return None;
    copy(larger, old, UnitSize * oldUnitCount);
    freeUnits(old, oldUnitCount);
    return larger;
}

Offset ReferenceUnitAllocator::shrinkUnits(Offset old, quint32 oldUnitCount, quint32 newUnitCount)
{
    if (indexOfUnits(oldUnitCount) == indexOfUnits(newUnitCount))
        return old;
    const Offset smaller = allocateUnits(newUnitCount);
    if (smaller == None)
        return None;
    copy(smaller, old, UnitSize * newUnitCount);
    freeUnits(old, oldUnitCount);
    return smaller;
}

void ReferenceUnitAllocator::freeUnits(Offset block, quint32 unitCount)
{
    const quint32 index = indexOfUnits(unitCount);
    pushFree(index, block, unitsOfIndex(index));
}

void ReferenceUnitAllocator::pushFree(quint32 index, Offset block, quint32 unitCount)
{
    setOffset(block, FreeMarker);
    setOffset(block + NextField, m_free[index].head);
    setOffset(block + SizeField, unitCount);
    m_free[index].head = block;
    ++m_free[index].count;
}

Offset ReferenceUnitAllocator::popFree(quint32 index)
{
    const Offset block = m_free[index].head;
    m_free[index].head = offset(block + NextField);
    --m_free[index].count;
    return block;
}

} // namespace kyv::test::reference
