# kyv_compile_options(<target>): what every target of the project is compiled with.
#
# Sources are C++20. Floating-point contraction is off everywhere: stored bytes must not
# depend on whether the processor has fused multiply-add.
function(kyv_compile_options target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -ffp-contract=off)
    if(KYV_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(KYV_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${KYV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${KYV_SANITIZE})
    endif()
    if(KYV_FUZZ_ENGINE)
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
        target_link_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
endfunction()
