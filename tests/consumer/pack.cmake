# Packs the build tree BUILD with the cpack generator GENERATOR into the empty folder PACKAGES.
file(REMOVE_RECURSE ${PACKAGES})
execute_process(COMMAND ${CMAKE_CPACK_COMMAND} --config ${BUILD}/CPackConfig.cmake -G ${GENERATOR} -B ${PACKAGES}
                COMMAND_ERROR_IS_FATAL ANY)
