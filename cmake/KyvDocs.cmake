# The target docs: reference pages of the public headers, with Doxygen. A
# warning fails it.
find_program(KYV_DOXYGEN doxygen)
if(KYV_DOXYGEN)
    configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
    add_custom_target(docs
        COMMAND ${KYV_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        COMMENT "Reference pages: ${PROJECT_BINARY_DIR}/docs/html/index.html"
        VERBATIM)
endif()
