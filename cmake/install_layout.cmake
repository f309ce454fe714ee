# The folders of an installation and of the packages, relative to the prefix.
if(WIN32)
    # A ZIP to unpack anywhere. The program finds the module in its own folder.
    math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
    set(FROND_PROGRAM_FOLDER ${bits}-bit)
    set(FROND_MODULE_FOLDER ${bits}-bit)
    set(FROND_GUIDE_FOLDER guide)
    set(FROND_START_FOLDER start)
    set(FROND_LIBRARY_FOLDER lib)
else()
    include(GNUInstallDirs)
    set(FROND_PROGRAM_FOLDER ${CMAKE_INSTALL_BINDIR})
    set(FROND_LIBRARY_FOLDER ${CMAKE_INSTALL_LIBDIR})
    # Two folders below lib: for a shared object one folder below lib, CPack's .deb would run ldconfig. This module
    # does not need it, because nothing links to it.
    set(FROND_MODULE_FOLDER ${CMAKE_INSTALL_LIBDIR}/marble-frond-keeper/modules)
    set(FROND_GUIDE_FOLDER ${CMAKE_INSTALL_DATAROOTDIR}/doc/marble-frond-keeper)
    set(FROND_START_FOLDER ${CMAKE_INSTALL_DATAROOTDIR}/marble-frond-keeper/start)
    set(FROND_MANUAL_FOLDER ${CMAKE_INSTALL_MANDIR}/man1)
    set(FROND_COMPLETION_FOLDER ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions)
endif()
# Where the installed program looks for the module and the starting points: their folders, relative to the program's.
cmake_path(ABSOLUTE_PATH FROND_PROGRAM_FOLDER BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE program)
foreach(part MODULE START)
    cmake_path(ABSOLUTE_PATH FROND_${part}_FOLDER BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE folder)
    file(RELATIVE_PATH FROND_${part}_FROM_PROGRAM ${program} ${folder})
endforeach()
