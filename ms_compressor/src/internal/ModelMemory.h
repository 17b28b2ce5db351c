#pragma once

#include <QtGlobal>

namespace kyv::compressor::internal {

/// The block of memory in which the byte model of the calling thread works.
///
/// Every thread has at most one. It belongs to the thread, not to an object: start() makes sure of
/// it, stop() gives it back for everybody on that thread, and the end of the thread does so at the
/// latest. Nothing is written to a fresh block, so it costs address space until the model grows
/// into it; a block that was used is used again as it is.
class ModelMemory
{
public:
    /// \c size bytes that the model may use, or nothing.
    ///
    /// `guardBytes` bytes before and behind them may be read too, so that a vector load may run
    /// past the last record.
    struct Block
    {
        quint8 *bytes = nullptr;
        quint32 size = 0;
    };

    static constexpr quint32 guardBytes = 64;

    /// Makes sure that the thread's block holds exactly \a mebibytes (1 to 4095) MiB, and returns
    /// it.
    ///
    /// A block of another size is released first. Throws std::bad_alloc where there is no memory;
    /// the thread then has no block.
    static Block start(quint32 mebibytes);

    /// Releases the thread's block if it has one.
    static void stop() noexcept;

    /// The thread's block; empty if it has none.
    static Block current() noexcept;
};

} // namespace kyv::compressor::internal
