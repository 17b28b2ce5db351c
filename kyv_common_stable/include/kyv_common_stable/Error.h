#pragma once

#include <kyv_common_stable/Warnings.h>
#include <kyv_common_stable/kyv_common_stable_export.h>

#include <QList>
#include <QString>

namespace kyv {

/// What kind of failure an Error denotes. The numbers are part of the interface.
enum class ErrorCode : int {
    NoError = 0,          ///< Success.
    InvalidInput = 2,     ///< An input that is not valid, or a request that is not supported.
    InconsistentData = 8, ///< Encoded data that contradict themselves or end too early.
};

/// A place that an error was raised at or passed through.
struct ErrorPlace
{
    QString function; ///< The function's full signature, as the compiler writes it.
    QString file;     ///< The source unit, without its extension.
    int line = 0; ///< The line recorded for this place; fixed by the library, see docs/errors.md.
};

/// The outcome of an operation that gives back no value, or the reason why a Result has none.
///
/// An error has a code, a message for people, warnings, and the chain of places that it passed on
/// its way to the caller. Error() and Error(ErrorCode::NoError) denote success.
///
/// A plain value without locks: one thread at a time.
class KYV_COMMON_STABLE_EXPORT Error : public Warnings
{
public:
    /// Makes the success value.
    Error();
    /// Makes an error with \a code and no message; success if the code is ErrorCode::NoError.
    Error(ErrorCode code);
    /// Makes an error with \a code and \a message.
    Error(ErrorCode code, const QString &message);
    /// Copies and moves take code, message, places and warnings.
    ///@{
    Error(const Error &other);
    Error(Error &&other) noexcept;
    Error &operator=(const Error &other);
    Error &operator=(Error &&other) noexcept;
    ~Error() override;
    ///@}

    /// True if this denotes a failure.
    bool hasError() const noexcept { return m_code != ErrorCode::NoError; }
    /// What kind of failure this is.
    ErrorCode code() const noexcept { return m_code; }
    /// The message for people; empty if the error was made from a code alone.
    const QString &message() const noexcept { return m_message; }

    /// The places recorded by ecatch(): first where the error was raised, then each level that
    /// passed it on, outermost last.
    const QList<ErrorPlace> &places() const noexcept { return m_places; }

    /// Records a place: the signature \a function of the function that the error passes, its
    /// source unit \a file and a \a line. Returns this error.
    Error &ecatch(const char *function, const char *file, int line);

    /// The warning operations of Warnings, returning this error for chaining.
    ///@{
    Error &addWarning(const QString &warning);
    Error &addWarnings(const QList<QString> &warnings);
    Error &clearWarnings();
    ///@}

private:
    ErrorCode m_code = ErrorCode::NoError;
    QString m_message;
    QList<ErrorPlace> m_places;
};

} // namespace kyv
