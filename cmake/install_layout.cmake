# Where cmake --install and the packages put things, below the prefix.
if(WIN32)
    # One folder that is unpacked anywhere. The program finds the module that lies beside it.
    math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
    set(FROND_PROGRAM_FOLDER ${bits}-bit)
    set(FROND_MODULE_FOLDER ${bits}-bit)
    set(FROND_GUIDE_FOLDER guide)
else()
    include(GNUInstallDirs)
    set(FROND_PROGRAM_FOLDER ${CMAKE_INSTALL_BINDIR})
    # Two folders deep: CPack's .deb runs ldconfig for a shared object one folder below lib, but nothing links to
    # this module; the program loads it by name.
    set(FROND_MODULE_FOLDER ${CMAKE_INSTALL_LIBDIR}/marble-frond-keeper/modules)
    set(FROND_GUIDE_FOLDER ${CMAKE_INSTALL_DATAROOTDIR}/doc/marble-frond-keeper)
    set(FROND_MANUAL_FOLDER ${CMAKE_INSTALL_MANDIR}/man1)
    set(FROND_COMPLETION_FOLDER ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions)
endif()
# Where the installed program looks for the module: the module's folder as seen from the program's.
cmake_path(ABSOLUTE_PATH FROND_PROGRAM_FOLDER BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE program)
cmake_path(ABSOLUTE_PATH FROND_MODULE_FOLDER BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE module)
file(RELATIVE_PATH FROND_MODULE_FROM_PROGRAM ${program} ${module})
