find_package(GTest REQUIRED)
find_package(rapidcheck REQUIRED)
include(GoogleTest)

# kyv_test(<executable> SOURCES <files...> [LIBRARIES <libs...>] [TIMEOUT <seconds>] [PUBLIC_API])
#
# One executable for the suites of one area; every test becomes a test of CTest. Tests link the
# library's objects, so that they reach internal parts; with PUBLIC_API they link the shared
# library and see what every application sees.
function(kyv_test executable)
    cmake_parse_arguments(PARSE_ARGV 1 arg "PUBLIC_API" "TIMEOUT" "SOURCES;LIBRARIES")
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 600)
    endif()
    if(arg_PUBLIC_API)
        set(library kyv::ms_compressor)
    else()
        set(library ms_compressor_objects)
    endif()
    add_executable(${executable} ${arg_SOURCES})
    target_link_libraries(${executable} PRIVATE
        ${library} kyv_test_support GTest::gtest_main rapidcheck ${arg_LIBRARIES})
    kyv_compile_options(${executable})
    gtest_discover_tests(${executable}
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${arg_TIMEOUT})
endfunction()
