# What a shared library exports belongs to namespace kyv, and what it needs is Qt Core, the base
# library and the language's own runtime.
execute_process(COMMAND ${NM} -D --defined-only --demangle ${LIBRARY}
    OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE ";" "," listing "${listing}")
string(REGEX MATCHALL "[^\n]+" symbols "${listing}")
list(LENGTH symbols count)
if(count LESS 10)
    message(FATAL_ERROR "only ${count} symbols found in ${LIBRARY}")
endif()
foreach(symbol IN LISTS symbols)
    # Sanitizers leave symbols of their own.
    if(NOT symbol MATCHES "^[0-9a-f]+ . (non-virtual thunk to |guard variable for |(vtable|typeinfo|typeinfo name) for )?kyv::"
            AND NOT symbol MATCHES "^[0-9a-f]+ . [A-Za-z0-9_:<>*& ,]+ kyv::"
            AND NOT (SANITIZE AND symbol MATCHES " (__asan|__ubsan|__odr_asan|__tsan|___asan)"))
        message(SEND_ERROR "foreign symbol exported: ${symbol}")
    endif()
    if(symbol MATCHES "kyv::compressor::internal::")
        message(SEND_ERROR "internal symbol exported: ${symbol}")
    endif()
endforeach()

execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "NEEDED[^\n]+" needed "${dynamic}")
foreach(entry IN LISTS needed)
    if(NOT entry MATCHES "lib(Qt6Core|kyv_common_stable|stdc\\+\\+|m|gcc_s|c|asan|ubsan|tsan)\\.so|ld-linux")
        message(SEND_ERROR "foreign library needed: ${entry}")
    endif()
endforeach()
message(STATUS "${count} exported symbols checked")
