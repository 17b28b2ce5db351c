#pragma once

#include <QtGlobal>

namespace kyv::test {

/// True if the environment asks for the full number of cases, KYV_THOROUGH=1: minutes instead of
/// seconds.
inline bool isThorough()
{
    return qEnvironmentVariableIntValue("KYV_THOROUGH") == 1;
}

} // namespace kyv::test
