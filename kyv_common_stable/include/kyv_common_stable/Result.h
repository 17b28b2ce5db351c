#pragma once

#include <kyv_common_stable/Error.h>
#include <kyv_common_stable/Warnings.h>
#include <kyv_common_stable/kyv_common_stable_export.h>

#include <QtGlobal>

#include <utility>
#include <variant>

namespace kyv {

/// A value of type \a T, or the Error that tells why there is none; with warnings either way.
///
/// While a result holds an error, the result's warnings and the error's stay equal: a change of
/// the one is made on the other. Once it holds a value only the result's own list changes.
///
/// \code
/// kyv::Result<QByteArray> bytes = interpretAs(points, kyv::To<QByteArray>());
/// if (!bytes.hasValue())
///     return report(bytes.error());
/// store(std::move(bytes).value());
/// \endcode
///
/// A plain value without locks: one thread at a time.
template <typename T>
class KYV_COMMON_STABLE_EXPORT Result : public Warnings
{
public:
    /// Makes a successful result with no warnings.
    ///@{
    Result(const T &value)
        : m_storage(std::in_place_index<0>, value)
    {}
    Result(T &&value)
        : m_storage(std::in_place_index<0>, std::move(value))
    {}
    ///@}
    /// Makes a failed result that holds a copy of \a error and starts with its warnings.
    Result(const Error &error)
        : Warnings(error)
        , m_storage(std::in_place_index<1>, error)
    {}
    /// Makes a failed result that holds Error(\a code).
    Result(ErrorCode code)
        : m_storage(std::in_place_index<1>, code)
    {}

    /// Copies and moves take the value or the error, and the warnings.
    ///@{
    Result(const Result &) = default;
    Result(Result &&) = default;
    Result &operator=(const Result &) = default;
    Result &operator=(Result &&) = default;
    ~Result() override = default;
    ///@}

    /// True if this holds a value, false if it holds an error.
    bool hasValue() const noexcept { return m_storage.index() == 0; }

    /// The value; only when hasValue(). Asking a failed result for its value is a programming
    /// error: an assertion in debug builds, undefined otherwise. From an expiring result the
    /// value is moved out, and lists and byte arrays travel without a copy of their data.
    ///@{
    const T &value() const &
    {
        Q_ASSERT_X(hasValue(), "kyv::Result::value", "the result holds an error");
        return *std::get_if<0>(&m_storage);
    }
    T &value() &
    {
        Q_ASSERT_X(hasValue(), "kyv::Result::value", "the result holds an error");
        return *std::get_if<0>(&m_storage);
    }
    T &&value() &&
    {
        Q_ASSERT_X(hasValue(), "kyv::Result::value", "the result holds an error");
        return std::move(*std::get_if<0>(&m_storage));
    }
    ///@}

    /// The error; only when not hasValue(), on the same terms as value().
    const Error &error() const noexcept
    {
        Q_ASSERT_X(!hasValue(), "kyv::Result::error", "the result holds a value");
        return *std::get_if<1>(&m_storage);
    }

protected:
    /// The hooks of Warnings, which make each change on the held error too. They take a copy of
    /// their argument, for it may stand in the list that changes.
    ///@{
    void addWarningInternal(const QString &warning) override
    {
        const QString kept = warning;
        Warnings::addWarningInternal(kept);
        if (Error *held = heldError())
            held->addWarning(kept);
    }
    void addWarningsInternal(const QList<QString> &warnings) override
    {
        const QList<QString> kept = warnings;
        Warnings::addWarningsInternal(kept);
        if (Error *held = heldError())
            held->addWarnings(kept);
    }
    void clearWarningsInternal() override
    {
        Warnings::clearWarningsInternal();
        if (Error *held = heldError())
            held->clearWarnings();
    }
    void resetWarningInternal(const QString &warning) override
    {
        const QString kept = warning;
        Warnings::resetWarningInternal(kept);
        if (Error *held = heldError())
            held->resetWarning(kept);
    }
    void resetWarningsInternal(const QList<QString> &warnings) override
    {
        const QList<QString> kept = warnings;
        Warnings::resetWarningsInternal(kept);
        if (Error *held = heldError())
            held->resetWarnings(kept);
    }
    ///@}

private:
    Error *heldError() noexcept { return std::get_if<1>(&m_storage); }

    std::variant<T, Error> m_storage;
};

} // namespace kyv
