#include <kyv_common_stable/Error.h>

namespace kyv {

Error::Error() = default;

Error::Error(ErrorCode code)
    : m_code(code)
{}

Error::Error(ErrorCode code, const QString &message)
    : m_code(code)
    , m_message(message)
{}

Error::Error(const Error &other) = default;
Error::Error(Error &&other) noexcept = default;
Error &Error::operator=(const Error &other) = default;
Error &Error::operator=(Error &&other) noexcept = default;
Error::~Error() = default;

Error &Error::ecatch(const char *function, const char *file, int line)
{
    m_places.append({QString::fromUtf8(function), QString::fromUtf8(file), line});
    return *this;
}

Error &Error::addWarning(const QString &warning)
{
    Warnings::addWarning(warning);
    return *this;
}

Error &Error::addWarnings(const QList<QString> &warnings)
{
    Warnings::addWarnings(warnings);
    return *this;
}

Error &Error::clearWarnings()
{
    Warnings::clearWarnings();
    return *this;
}

} // namespace kyv
