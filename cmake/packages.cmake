# What is installed besides program and module, and the packages. The target "package" makes a .deb in build/linux, and
# in build/win64 a ZIP with the 64-bit and the 32-bit module.
#
# The stand-in host is not installed: it serves the tests, and its interface may change with every commit.

# The guide: as a web page if Python's Markdown is installed, else as Markdown.
find_program(MARKDOWN NAMES markdown_py)
set(guide ${PROJECT_SOURCE_DIR}/docs/guide.md)
if(MARKDOWN)
    set(page ${PROJECT_BINARY_DIR}/guide.html)
    add_custom_command(OUTPUT ${page}
        COMMAND ${PROJECT_SOURCE_DIR}/scripts/guide_page.sh ${MARKDOWN} ${guide} ${page}
        DEPENDS ${guide} ${PROJECT_SOURCE_DIR}/scripts/guide_page.sh
        VERBATIM)
    add_custom_target(guide_page ALL DEPENDS ${page})
    set(guide ${page})
endif()
install(FILES ${guide} DESTINATION ${FROND_GUIDE_FOLDER})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/images DESTINATION ${FROND_GUIDE_FOLDER} FILES_MATCHING
    PATTERN "*.jpg" PATTERN "*.png" PATTERN quality EXCLUDE)

set(CPACK_PACKAGE_NAME marble-frond-keeper)
set(CPACK_PACKAGE_CONTACT "The Marble Frond Keeper developers <developers@frondkeeper.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "keys photographs taken before a green or blue backdrop")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
    install(FILES LICENSE DESTINATION . RENAME LICENSE.txt)
    install(FILES CHANGELOG.md DESTINATION . RENAME CHANGES.txt)
    # CPack must not strip: that would write the time into the modules. They are linked without symbols.
    set(CPACK_GENERATOR ZIP)
    # Without the engine's library.
    set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};MarbleFrondKeeper;Unspecified;/")
    if(CMAKE_SIZEOF_VOID_P EQUAL 8)
        install(SCRIPT cmake/install_win32_module.cmake)
        set(CPACK_PACKAGE_FILE_NAME MarbleFrondKeeper-${PROJECT_VERSION}-windows)
    else()
        set(CPACK_PACKAGE_FILE_NAME MarbleFrondKeeper-${PROJECT_VERSION}-windows-32-bit-only)
    endif()
else()
    set(pages ${PROJECT_BINARY_DIR}/share)
    file(MAKE_DIRECTORY ${pages})
    add_custom_command(OUTPUT ${pages}/changelog.gz
        COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md > ${pages}/changelog.gz
        DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
    add_custom_target(changelog ALL DEPENDS ${pages}/changelog.gz)
    install(FILES ${pages}/changelog.gz DESTINATION ${FROND_GUIDE_FOLDER})
    # The program prints its own manual page and completion, so a cross build has neither.
    if(TARGET frond AND NOT CMAKE_CROSSCOMPILING)
        add_custom_command(OUTPUT ${pages}/frond.1.gz ${pages}/frond.bash
            COMMAND frond manual page > ${pages}/frond.1
            COMMAND gzip -9nf ${pages}/frond.1
            COMMAND frond manual completion > ${pages}/frond.bash
            DEPENDS frond)
        add_custom_target(manual ALL DEPENDS ${pages}/frond.1.gz)
        install(FILES ${pages}/frond.1.gz DESTINATION ${FROND_MANUAL_FOLDER})
        install(FILES ${pages}/frond.bash DESTINATION ${FROND_COMPLETION_FOLDER} RENAME frond)
    endif()
    install(FILES LICENSE DESTINATION ${FROND_GUIDE_FOLDER} RENAME copyright)

    set(CPACK_GENERATOR DEB)
    set(CPACK_STRIP_FILES ON)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    # The program with the module, the engine's library for those who develop with it, and the operation for GEGL.
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    set(CPACK_COMPONENTS_ALL Unspecified development)
    set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_NAME marble-frond-keeper)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmarble-frond-keeper-dev)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
    set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"This package has the keying engine for use in other programs: a static
library, its header and its CMake package.")
    if(TARGET twin_plate_rig)
        list(APPEND CPACK_COMPONENTS_ALL gegl)
        set(CPACK_DEBIAN_GEGL_PACKAGE_NAME marble-frond-keeper-gegl)
        set(CPACK_DEBIAN_GEGL_DESCRIPTION
"This package has the operation marble:twin-plate-rig for GEGL. It keys
photographs in GIMP, which lists it under GEGL operations, and with the gegl
command.")
    endif()
    set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"frond takes the green or blue backdrop out of photographs and sets the subject
on a new background, or writes it with transparency. It runs the filter module
\"Twin Plate Rig\" on picture files, and finds the backdrop's colour by itself.")
endif()
include(CPack)
