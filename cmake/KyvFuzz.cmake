# kyv_fuzzer(<target> SOURCES <files...> [LIBRARIES <libs...>])
#
# Makes <target>_replay, which runs every file of fuzz/corpus/<target>/ as an ordinary test, and,
# with KYV_FUZZ_ENGINE, the libFuzzer executable <target>.
function(kyv_fuzzer target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
    set(corpus ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${target})

    add_executable(${target}_replay ${arg_SOURCES} ReplayMain.cpp)
    target_link_libraries(${target}_replay PRIVATE ${arg_LIBRARIES})
    kyv_compile_options(${target}_replay)
    add_test(NAME ${target}.replay COMMAND ${target}_replay ${corpus})
    set_tests_properties(${target}.replay PROPERTIES TIMEOUT 600)

    if(KYV_FUZZ_ENGINE)
        add_executable(${target} ${arg_SOURCES})
        target_link_libraries(${target} PRIVATE ${arg_LIBRARIES})
        kyv_compile_options(${target})
        target_link_options(${target} PRIVATE -fsanitize=fuzzer)
    endif()
endfunction()
