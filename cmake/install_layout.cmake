# Where cmake --install and the packages put things, below the prefix.
if(WIN32)
    # One folder that is unpacked anywhere. The program finds the module that lies beside it.
    math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
    set(FROND_PROGRAM_FOLDER ${bits}-bit)
    set(FROND_MODULE_FOLDER ${bits}-bit)
    set(FROND_GUIDE_FOLDER guide)
else()
    set(FROND_PROGRAM_FOLDER bin)
    set(FROND_MODULE_FOLDER lib/marble-frond-keeper)
    set(FROND_GUIDE_FOLDER share/doc/marble-frond-keeper)
endif()
