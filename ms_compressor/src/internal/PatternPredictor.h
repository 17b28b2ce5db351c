#pragma once

#include <QtGlobal>

#include <algorithm>

namespace kyv::compressor::internal {

/// How far back the forecast of an x pattern reaches: order 0 forecasts nothing, order 1 no change,
/// order 2 the last step again, order 3 the last change of step again.
using PredictorOrder = unsigned;

inline constexpr PredictorOrder maxOrder = 3;

/// True for the orders whose residuals stand in width groups.
constexpr bool isGrouped(PredictorOrder order) noexcept
{
    return order >= 2;
}

/// What remains of an x pattern after the forecast of the given order.
struct Residual
{
    PredictorOrder order;
    quint64 value;
};

/// The encoder's side: finds the order for each pattern and the residual that it leaves.
///
/// The order rises by one from point to point and falls back where the forecast fails: where a
/// difference is negative or exceeds 2^16 times the one before it. Everything wraps modulo 2^64.
class PatternPredictor
{
public:
    constexpr Residual next(quint64 pattern) noexcept
    {
        const Residual residual = residualOf(pattern);
        m_last = pattern;
        m_order = std::min(residual.order + 1, maxOrder);
        return residual;
    }

private:
    /// True if \a difference is not negative and not large beside \a reference.
    static constexpr bool follows(quint64 difference, quint64 reference) noexcept
    {
        return difference >> 63 == 0 && difference >> 16 < reference;
    }

    constexpr Residual residualOf(quint64 pattern) noexcept
    {
        const quint64 step = pattern - m_last;
        if (m_order == 0 || !follows(step, m_step)) {
            m_step = m_change = m_residual = pattern;
            return {0, pattern};
        }
        const quint64 change = step - m_step;
        m_step = step;
        if (m_order == 1 || !follows(change, m_change)) {
            m_change = m_residual = step;
            return {1, step};
        }
        // Order 3 combines by XOR, so a value just below the forecast costs as few bits as one
        // just above.
        const quint64 deviation = change ^ m_change;
        m_change = change;
        if (m_order == 2 || !follows(deviation, std::max<quint64>(m_residual, 1))) {
            m_residual = change;
            return {2, change};
        }
        m_residual = deviation;
        return {3, deviation};
    }

    PredictorOrder m_order = 0; // that the next pattern is tried with
    quint64 m_last = 0;
    quint64 m_step = 0;     // last first difference
    quint64 m_change = 0;   // last second difference
    quint64 m_residual = 0; // last residual
};

/// The decoder's side: rebuilds patterns from orders and residuals.
///
/// The state is the last pattern and its two differences, which takes one XOR and two additions
/// a point where the patterns themselves would take six.
class PatternRestorer
{
public:
    /// The pattern that left \a residual with the forecast of \a order (0 to 3).
    constexpr quint64 next(PredictorOrder order, quint64 residual) noexcept
    {
        if (order == 0)
            return restart(residual);
        return advance(order >= 2 ? ~quint64(0) : 0, order == 3 ? ~quint64(0) : 0, residual);
    }

    /// Order 0: \a pattern itself.
    Q_ALWAYS_INLINE constexpr quint64 restart(quint64 pattern) noexcept
    {
        return advance(0, 0, pattern - m_last);
    }

    /// Orders 1 to 3 without a branch: \a stepMask is all ones for orders 2 and 3, \a changeMask
    /// for order 3, else zero.
    Q_ALWAYS_INLINE constexpr quint64 advance(quint64 stepMask, quint64 changeMask,
                                              quint64 residual) noexcept
    {
        const quint64 change = residual ^ (m_change & changeMask);
        m_change = change - (m_step & ~stepMask);
        m_step = (m_step & stepMask) + change;
        m_last += m_step;
        return m_last;
    }

private:
    quint64 m_last = 0;
    quint64 m_step = 0;   // last pattern minus the one before it
    quint64 m_change = 0; // last step minus the one before it
};

} // namespace kyv::compressor::internal
