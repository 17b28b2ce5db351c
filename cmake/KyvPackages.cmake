# cpack makes Debian packages: the libraries, what developers need, and the tool.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kyv-ms-compressor)
set(CPACK_PACKAGE_VENDOR "The kyv_ms_compressor developers")
set(CPACK_PACKAGE_CONTACT "The kyv_ms_compressor developers <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(KYV_BUILD_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)

set(runtime_package libkyv-ms-compressor${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkyv-ms-compressor-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}), qt6-base-dev")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kyv-ms)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${PROJECT_BINARY_DIR}/kyv_common_stable ${PROJECT_BINARY_DIR}/ms_compressor)

include(CPack)
cpack_add_component(runtime DISPLAY_NAME "Shared libraries")
cpack_add_component(development DISPLAY_NAME "Headers, CMake packages, pkg-config files")
cpack_add_component(tools DISPLAY_NAME "The command line tool kyv-ms")
