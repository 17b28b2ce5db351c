#pragma once

#include <kyv_common_stable/kyv_common_stable_export.h>

#include <QList>
#include <QString>

namespace kyv {

/// A list of warning texts, the common base of Error and Result.
///
/// Every change of the list passes through one of five protected virtual hooks, so a class that
/// keeps a second list in step with this one overrides the hooks and misses no change. That is
/// also why assignment is not public: it would replace the list behind the hooks' back.
///
/// A plain value without locks: one thread at a time.
class KYV_COMMON_STABLE_EXPORT Warnings
{
public:
    /// Makes an empty list.
    Warnings();
    /// Copies and moves take the list.
    ///@{
    Warnings(const Warnings &other);
    Warnings(Warnings &&other) noexcept;
    ///@}
    virtual ~Warnings();

    /// The warnings, oldest first.
    const QList<QString> &warnings() const noexcept { return m_warnings; }

    /// Appends \a warning.
    void addWarning(const QString &warning) { addWarningInternal(warning); }
    /// Appends \a warnings in their order.
    void addWarnings(const QList<QString> &warnings) { addWarningsInternal(warnings); }
    /// Empties the list.
    void clearWarnings() { clearWarningsInternal(); }
    /// Replaces the list by \a warning alone.
    void resetWarning(const QString &warning) { resetWarningInternal(warning); }
    /// Replaces the list by \a warnings.
    void resetWarnings(const QList<QString> &warnings) { resetWarningsInternal(warnings); }

protected:
    /// For derived classes, which keep what depends on the list in step.
    ///@{
    Warnings &operator=(const Warnings &other);
    Warnings &operator=(Warnings &&other) noexcept;
    ///@}

    /// The five hooks that every change of the list passes through. The order of these
    /// declarations is the order of the slots in the virtual table, behind the destructor's: it
    /// is part of the binary interface.
    ///@{
    virtual void addWarningInternal(const QString &warning);
    virtual void addWarningsInternal(const QList<QString> &warnings);
    virtual void clearWarningsInternal();
    virtual void resetWarningInternal(const QString &warning);
    virtual void resetWarningsInternal(const QList<QString> &warnings);
    ///@}

private:
    QList<QString> m_warnings;
};

} // namespace kyv
