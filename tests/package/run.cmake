# Installs the built tree, moves it elsewhere, and builds and runs programs of the outside world against it: the
# consumer beside this file and the documented example. Nothing but the package may tell them what to link.
#
#   cmake -D BUILD=... -D SCRATCH=... -D SAMPLE=... -D SETTINGS=... -P run.cmake

function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(prefix "${SCRATCH}/moved elsewhere")
file(REMOVE_RECURSE "${SCRATCH}")
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${SCRATCH}/installed")
file(RENAME "${SCRATCH}/installed" "${prefix}")
run("${prefix}/bin/orvane-cloud" --version)
run("${CMAKE_CURRENT_LIST_DIR}/check-exports" "${prefix}")

# The package must do without the libraries that only our own sources need.
run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}" -B "${SCRATCH}/build" -C "${SETTINGS}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DINCLUDE_FOLDER=${prefix}/include/Orvane"
    -DCMAKE_DISABLE_FIND_PACKAGE_glog=ON -DCMAKE_DISABLE_FIND_PACKAGE_SQLiteCpp=ON
    -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON)
run("${CMAKE_COMMAND}" --build "${SCRATCH}/build")
run("${SCRATCH}/build/consumer")

file(MAKE_DIRECTORY "${SCRATCH}/cloud")
set(ENV{XDG_CACHE_HOME} "${SCRATCH}/cache")
execute_process(COMMAND "${SCRATCH}/build/example/store-document" "${SCRATCH}/cloud" "${SCRATCH}/data" "${SAMPLE}"
                OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET SAMPLE FILENAME name)
if(NOT output MATCHES "${name}")
    message(FATAL_ERROR "The example does not list ${name}: ${output}")
endif()
run("${CMAKE_COMMAND}" -E compare_files "${SAMPLE}" "${SCRATCH}/cloud/${name}")
