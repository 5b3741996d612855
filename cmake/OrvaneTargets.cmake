# How every target of this project is compiled, and how its shared libraries are made.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_INSTALL_RPATH "$ORIGIN" "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME Runtime)

find_program(ORVANE_CCACHE ccache)
if(ORVANE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${ORVANE_CCACHE}")
endif()

# Warnings, strict Qt, and no path of the build machine in the binaries.
function(orvane_compile_options target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wconversion -Wno-sign-conversion
        "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")
    target_compile_definitions(${target} PRIVATE
        QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_KEYWORDS
        QT_DEPRECATED_WARNINGS)
endfunction()

# orvane_library(NAME SOURCES ... PUBLIC_LINKS ... PRIVATE_LINKS ... HEADERS_ROOT dir PUBLIC_HEADERS ...)
# A versioned shared library lib<NAME>, installed and exported as Orvane::<NAME>.
# PUBLIC_HEADERS keep their folder below HEADERS_ROOT when installed below include/Orvane.
function(orvane_library name)
    cmake_parse_arguments(ARG "" "HEADERS_ROOT" "SOURCES;PUBLIC_HEADERS;PUBLIC_LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(${name} SHARED ${ARG_SOURCES} ${ARG_PUBLIC_HEADERS})
    add_library(Orvane::${name} ALIAS ${name})
    orvane_compile_options(${name})
    target_compile_features(${name} PUBLIC cxx_std_17)
    if(UNIX AND NOT APPLE)
        set(exports "${PROJECT_SOURCE_DIR}/cmake/exports.map")
        target_link_options(${name} PRIVATE LINKER:--exclude-libs,ALL "LINKER:--version-script=${exports}")
        set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS "${exports}")
    endif()
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
    target_include_directories(${name} PUBLIC
        "$<BUILD_INTERFACE:${ARG_HEADERS_ROOT}>"
        "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/Orvane>")
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    install(TARGETS ${name} EXPORT OrvaneTargets
        LIBRARY NAMELINK_COMPONENT Development
        ARCHIVE COMPONENT Development)
    foreach(header IN LISTS ARG_PUBLIC_HEADERS)
        cmake_path(ABSOLUTE_PATH header)
        cmake_path(RELATIVE_PATH header BASE_DIRECTORY "${ARG_HEADERS_ROOT}" OUTPUT_VARIABLE below)
        cmake_path(GET below PARENT_PATH folder)
        install(FILES "${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/Orvane/${folder}"
                COMPONENT Development)
    endforeach()
endfunction()
