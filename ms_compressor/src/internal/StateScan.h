#pragma once

#include <QtGlobal>

#include <cstring>

namespace kyv::compressor::internal {

/// Where a count falls among frequencies: the state, and the sum of those before it.
struct ScanHit
{
    int index;
    quint32 below;
};

/// The symbols that are ruled out while one symbol is coded: a byte each, 0 once ruled out.
struct SymbolMask
{
    alignas(64) quint8 allowed[256];
};

/// Searches and sums over the arrays of a context, one state at a time: the definition.
///
/// The vector paths have the same operations. They may read up to 63 bytes past \a count, but
/// what is there changes nothing.
struct PortableScan
{
    /// Place of \a symbol, or \a count if it is absent.
    static int find(const quint8 *symbols, int count, quint8 symbol) noexcept
    {
        int i = 0;
        while (i < count && symbols[i] != symbol)
            ++i;
        return i;
    }

    /// Sum of the first \a count frequencies.
    static quint32 sum(const quint8 *freqs, int count) noexcept
    {
        quint32 total = 0;
        for (int i = 0; i < count; ++i)
            total += freqs[i];
        return total;
    }

    /// The first state whose frequency, added to those before, exceeds \a target; \a count and
    /// the sum of all if there is none.
    static ScanHit locate(const quint8 *freqs, int count, quint32 target) noexcept
    {
        quint32 below = 0;
        for (int i = 0; i < count; ++i) {
            if (target < below + freqs[i])
                return {i, below};
            below += freqs[i];
        }
        return {count, below};
    }

    /// Allows every symbol.
    static void clear(SymbolMask &mask) noexcept
    {
        std::memset(mask.allowed, 0xFF, sizeof mask.allowed);
    }

    /// Rules out the given symbols.
    static void ruleOut(SymbolMask &mask, const quint8 *symbols, int count) noexcept
    {
        for (int i = 0; i < count; ++i)
            mask.allowed[symbols[i]] = 0;
    }

    /// Copies the frequencies with 0 for each ruled out symbol, and returns their sum.
    ///
    /// \a masked has room for 256 frequencies and is filled up to a multiple of 64.
    static quint32 masked(const SymbolMask &mask, const quint8 *symbols, const quint8 *freqs,
                          int count, quint8 *masked) noexcept
    {
        quint32 total = 0;
        for (int i = 0; i < count; ++i) {
            masked[i] = freqs[i] & mask.allowed[symbols[i]];
            total += masked[i];
        }
        return total;
    }
};

} // namespace kyv::compressor::internal
