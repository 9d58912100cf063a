# Installs BUILD_DIR for the tests that need an installed library, and then
# moves the whole tree to STAGE: whatever uses it there uses a moved install.
cmake_minimum_required(VERSION 3.25)
set(first_place ${STAGE}.installed-elsewhere)
file(REMOVE_RECURSE ${STAGE} ${first_place})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${first_place}
                        COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${first_place} ${STAGE})
