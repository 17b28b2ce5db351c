#include <kyv_common_stable/Warnings.h>

namespace kyv {

Warnings::Warnings() = default;
Warnings::Warnings(const Warnings &other) = default;
Warnings::Warnings(Warnings &&other) noexcept = default;
Warnings::~Warnings() = default;
Warnings &Warnings::operator=(const Warnings &other) = default;
Warnings &Warnings::operator=(Warnings &&other) noexcept = default;

void Warnings::addWarningInternal(const QString &warning)
{
    m_warnings.append(warning);
}

void Warnings::addWarningsInternal(const QList<QString> &warnings)
{
    m_warnings.append(warnings);
}

void Warnings::clearWarningsInternal()
{
    m_warnings.clear();
}

void Warnings::resetWarningInternal(const QString &warning)
{
    m_warnings = {warning};
}

void Warnings::resetWarningsInternal(const QList<QString> &warnings)
{
    m_warnings = warnings;
}

} // namespace kyv
