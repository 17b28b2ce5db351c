#pragma once

#include "internal/PpmdRecords.h"
#include "internal/UnitAllocator.h"

#include <QtGlobal>

#include <cstdlib>
#include <memory>

namespace kyv::compressor::internal {

/// Remembers where the context of any two symbols lives, to fetch its memory before it is needed.
///
/// On data that hardly repeats the model outgrows the caches, and coding waits for memory: for
/// the context, then for its states. Hints change no byte. They may be stale or missing; what
/// they name lies inside the block in any case, and is only read to be fetched.
class ContextHints
{
public:
    /// Makes room for the hints unless there is; false where there is no memory for them.
    bool prepare() noexcept
    {
        if (m_hints == nullptr)
            m_hints.reset(static_cast<Hint *>(std::calloc(size_t(1) << 16, sizeof(Hint))));
        return m_hints != nullptr;
    }

    /// Remembers that \a c follows \a symbols, two of them, the older in the upper byte.
    Q_ALWAYS_INLINE void remember(quint32 symbols, quint32 offset, const ppmd::Context *c) noexcept
    {
        m_hints.get()[symbols & 0xFFFF] = {offset, c->stats};
    }

    /// Fetches the context that follows \a symbols.
    Q_ALWAYS_INLINE void fetchContext(const UnitAllocator &units, quint32 symbols) const noexcept
    {
        const Hint &hint = m_hints.get()[symbols & 0xFFFF];
        if (hint.context != 0)
            fetch(units.at(hint.context));
    }
    /// Fetches its states too, where they were when it was remembered.
    Q_ALWAYS_INLINE void fetchAll(const UnitAllocator &units, quint32 symbols) const noexcept
    {
        const Hint &hint = m_hints.get()[symbols & 0xFFFF];
        if (hint.context == 0)
            return;
        fetch(units.at(hint.context));
        fetchLines(units.at(hint.stats));
    }
    /// Fetches its states after fetchContext() has had its time.
    Q_ALWAYS_INLINE void fetchStates(const UnitAllocator &units, quint32 symbols) const noexcept
    {
        const Hint &hint = m_hints.get()[symbols & 0xFFFF];
        if (hint.context == 0)
            return;
        const auto c = reinterpret_cast<const ppmd::Context *>(units.at(hint.context));
        fetchLines(units.at(c->stats));
    }

private:
    static constexpr size_t lineBytes = 64;

    struct Hint
    {
        quint32 context;
        quint32 stats;
    };
    struct Free
    {
        void operator()(Hint *hints) const noexcept { std::free(hints); }
    };

    Q_ALWAYS_INLINE static void fetch(const quint8 *p) noexcept
    {
#if defined(Q_CC_GNU) || defined(Q_CC_CLANG)
        __builtin_prefetch(p);
#else
        Q_UNUSED(p);
#endif
    }
    /// Symbols and frequencies of an array of ordinary size.
    Q_ALWAYS_INLINE static void fetchLines(const quint8 *p) noexcept
    {
        for (size_t line = 0; line < 4; ++line)
            fetch(p + line * lineBytes);
    }

    std::unique_ptr<Hint[], Free> m_hints;
};

} // namespace kyv::compressor::internal
