# Installs the build tree and moves what was installed: the package must not remember its place.
file(REMOVE_RECURSE ${STAGE})
execute_process(
    COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${STAGE}/installed --config ${CONFIG}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${STAGE}/installed ${STAGE}/moved)
