#pragma once

#include "internal/PpmdTables.h"

#include <QtGlobal>

namespace kyv::compressor::internal {

/// Where a count falls among frequencies: the state, and the sum of those before it.
struct ScanHit
{
    int index;
    quint32 below;
};

/// Frequencies of a context without those of the symbols that are ruled out.
struct MaskedFreqs
{
    alignas(64) quint8 freqs[256];
};

/// What halving the frequencies of a context found.
struct Halved
{
    quint32 oldSum;    ///< All frequencies before,
    quint32 newSum;    ///< and after.
    bool hasHigh;      ///< A state behind the first is left with a symbol of 64 or more.
    int firstUnsorted; ///< No state before this exceeds its predecessor; the count if none does.
};

/// Searches and sums over the arrays of a context, one state at a time: the definition.
///
/// The vector paths have the same operations. They may read up to 63 bytes past the states, but
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

    /// Halves the frequencies, rounding up if \a adder is 1 and down if it is 0.
    static Halved halve(const quint8 *symbols, quint8 *freqs, int count, quint32 adder) noexcept
    {
        Halved result{0, 0, false, count};
        for (int i = count - 1; i >= 0; --i) {
            result.oldSum += freqs[i];
            if (i > 0 && freqs[i] > freqs[i - 1])
                result.firstUnsorted = i;
            freqs[i] = quint8((freqs[i] + adder) >> 1);
            result.newSum += freqs[i];
            result.hasHigh |= i > 0 && freqs[i] > 0 && symbols[i] >= ppmd::highSymbol;
        }
        return result;
    }

    /// Copies the frequencies to \a masked, with 0 for each symbol that is among \a ruledOut, and
    /// returns their sum.
    static quint32 mask(const quint8 *ruledOut, int ruledOutCount, const quint8 *symbols,
                        const quint8 *freqs, int count, MaskedFreqs &masked) noexcept
    {
        bool isRuledOut[256] = {};
        for (int i = 0; i < ruledOutCount; ++i)
            isRuledOut[ruledOut[i]] = true;
        quint32 total = 0;
        for (int i = 0; i < count; ++i) {
            masked.freqs[i] = isRuledOut[symbols[i]] ? 0 : freqs[i];
            total += masked.freqs[i];
        }
        return total;
    }
};

/// The operations of a scan as a table, with which tests hold the paths equal.
struct ScanTable
{
    int (*find)(const quint8 *symbols, int count, quint8 symbol) noexcept;
    quint32 (*sum)(const quint8 *freqs, int count) noexcept;
    ScanHit (*locate)(const quint8 *freqs, int count, quint32 target) noexcept;
    Halved (*halve)(const quint8 *symbols, quint8 *freqs, int count, quint32 adder) noexcept;
    quint32 (*mask)(const quint8 *ruledOut, int ruledOutCount, const quint8 *symbols,
                    const quint8 *freqs, int count, MaskedFreqs &masked) noexcept;

    template <class Scan>
    static constexpr ScanTable of() noexcept
    {
        return {Scan::find, Scan::sum, Scan::locate, Scan::halve, Scan::mask};
    }
};

} // namespace kyv::compressor::internal
