# Builds and runs the small consumer against the library, found in the way that WAY names.
file(REMOVE_RECURSE ${WORK_DIR})
set(arguments -G ${GENERATOR} -D CMAKE_CXX_COMPILER=${CXX} -D KYV_WAY=${WAY}
    -D CMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
if(SANITIZE)
    # A program that loads a sanitized library must be sanitized itself.
    list(APPEND arguments -D CMAKE_CXX_FLAGS=-fsanitize=${SANITIZE})
endif()
if(WAY STREQUAL "add_subdirectory")
    list(APPEND arguments -D KYV_SOURCE_DIR=${PROJECT_DIR})
else()
    list(APPEND arguments -D CMAKE_PREFIX_PATH=${STAGE})
    set(ENV{PKG_CONFIG_PATH} ${STAGE}/${LIBDIR}/pkgconfig)
    set(ENV{LD_LIBRARY_PATH} ${STAGE}/${LIBDIR}) # a package manager would have told the loader
endif()

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${WORK_DIR} ${arguments}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${WORK_DIR}/consumer OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
message(STATUS "${output}")
if(NOT output MATCHES "3 points came back")
    message(FATAL_ERROR "the consumer did not report its points")
endif()
