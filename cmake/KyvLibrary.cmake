include(CMakePackageConfigHelpers)
include(GenerateExportHeader)

# kyv_library(<target>
#     PACKAGE <package>        name for find_package() and pkg-config
#     DESCRIPTION <text>       for pkg-config
#     EXPORT_MACRO <macro>     marks what the library exports; header <target>/<target>_export.h
#     SOURCES <files...>       listed by name
#     HEADERS <files...>       public headers below include/
#     PUBLIC_LINK <libs...>    what the public headers need
#     PKGCONFIG_REQUIRES <...> the same for pkg-config)
#
# Makes the object library <target>_objects, which the unit tests link to reach internal parts,
# and from it the shared library <target> with the alias kyv::<target without the kyv_ prefix>.
# Only symbols of namespace kyv leave the shared library.
function(kyv_library target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "PACKAGE;DESCRIPTION;EXPORT_MACRO" "SOURCES;HEADERS;PUBLIC_LINK;PKGCONFIG_REQUIRES")
    string(REGEX REPLACE "^kyv_" "" short_name ${target})

    set(generated_dir ${CMAKE_CURRENT_BINARY_DIR}/include)
    set(export_header ${generated_dir}/${target}/${target}_export.h)

    add_library(${target}_objects OBJECT ${arg_SOURCES})
    set_target_properties(${target}_objects PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_compile_definitions(${target}_objects PRIVATE ${target}_EXPORTS)
    target_include_directories(${target}_objects
        PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/include ${CMAKE_CURRENT_SOURCE_DIR}/src ${generated_dir})
    target_link_libraries(${target}_objects PUBLIC ${arg_PUBLIC_LINK})
    kyv_compile_options(${target}_objects)

    add_library(${target} SHARED $<TARGET_OBJECTS:${target}_objects>)
    add_library(kyv::${short_name} ALIAS ${target})
    generate_export_header(${target}
        EXPORT_FILE_NAME ${export_header}
        EXPORT_MACRO_NAME ${arg_EXPORT_MACRO})
    target_sources(${target} PUBLIC
        FILE_SET HEADERS
        BASE_DIRS ${CMAKE_CURRENT_SOURCE_DIR}/include ${generated_dir}
        FILES ${arg_HEADERS} ${export_header})
    target_compile_features(${target} PUBLIC cxx_std_17)
    target_link_libraries(${target} PUBLIC ${arg_PUBLIC_LINK})
    kyv_compile_options(${target})
    set_target_properties(${target} PROPERTIES
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        EXPORT_NAME ${short_name}
        INSTALL_RPATH "$ORIGIN"
        LINKER_LANGUAGE CXX)
    set(version_script ${PROJECT_SOURCE_DIR}/cmake/kyv.map)
    target_link_options(${target} PRIVATE LINKER:--version-script=${version_script})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${version_script})

    install(TARGETS ${target}
        EXPORT ${arg_PACKAGE}Targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
    set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${arg_PACKAGE})
    install(EXPORT ${arg_PACKAGE}Targets
        NAMESPACE kyv:: DESTINATION ${package_dir} COMPONENT development)
    configure_package_config_file(
        ${PROJECT_SOURCE_DIR}/cmake/${arg_PACKAGE}Config.cmake.in
        ${CMAKE_CURRENT_BINARY_DIR}/${arg_PACKAGE}Config.cmake
        INSTALL_DESTINATION ${package_dir})
    write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${arg_PACKAGE}ConfigVersion.cmake
        COMPATIBILITY SameMajorVersion)
    install(FILES
        ${CMAKE_CURRENT_BINARY_DIR}/${arg_PACKAGE}Config.cmake
        ${CMAKE_CURRENT_BINARY_DIR}/${arg_PACKAGE}ConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

    set(PC_NAME ${arg_PACKAGE})
    set(PC_DESCRIPTION ${arg_DESCRIPTION})
    set(PC_LIBRARY ${target})
    list(JOIN arg_PKGCONFIG_REQUIRES ", " PC_REQUIRES)
    # The prefix is found from the file's own place, so an installed tree can be moved.
    file(RELATIVE_PATH PC_PREFIX_FROM_FILE
        /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${arg_PACKAGE}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${arg_PACKAGE}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()
