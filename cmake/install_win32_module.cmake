# Run by the installation of a 64-bit build: builds the module for 32-bit Photoshop in build/win32 and installs it, so
# one package serves both.
get_filename_component(project ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
set(build ${project}/build/win32)
if(NOT EXISTS ${build}/build.ninja)
    execute_process(COMMAND ${CMAKE_COMMAND} --preset win32 WORKING_DIRECTORY ${project}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${build} --target MarbleFrondKeeper
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(INSTALL ${build}/MarbleFrondKeeper.8bf DESTINATION ${CMAKE_INSTALL_PREFIX}/32-bit)
