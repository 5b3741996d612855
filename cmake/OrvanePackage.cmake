# The installed CMake package: find_package(OrvaneCloudManager) gives Orvane::OrvaneCloudManager and its siblings.

include(CMakePackageConfigHelpers)
set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/OrvaneCloudManager")

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/OrvaneCloudManagerConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/OrvaneCloudManagerConfig.cmake" INSTALL_DESTINATION "${package_folder}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/OrvaneCloudManagerConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/OrvaneCloudManagerConfig.cmake"
              "${PROJECT_BINARY_DIR}/OrvaneCloudManagerConfigVersion.cmake"
        DESTINATION "${package_folder}" COMPONENT Development)
install(EXPORT OrvaneTargets NAMESPACE Orvane:: DESTINATION "${package_folder}" COMPONENT Development)
