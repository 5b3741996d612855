# What is delivered: the installed tree, and programs of the outside world built against it.

configure_file(package/settings.cmake.in package-settings.cmake @ONLY)
add_test(NAME Package.ServesOutsidePrograms
    COMMAND "${CMAKE_COMMAND}"
        -D "BUILD=${PROJECT_BINARY_DIR}" -D "SCRATCH=${CMAKE_CURRENT_BINARY_DIR}/package"
        -D "SAMPLE=${PROJECT_SOURCE_DIR}/scripts/samples/invoice.pdf"
        -D "SETTINGS=${CMAKE_CURRENT_BINARY_DIR}/package-settings.cmake"
        -P "${CMAKE_CURRENT_SOURCE_DIR}/package/run.cmake")
set_tests_properties(Package.ServesOutsidePrograms PROPERTIES
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen" PROCESSORS 2)
