orvane_test(CloudSessionTest LIBRARIES OrvaneCloudHost)
orvane_test(SessionReceiversTest LIBRARIES OrvaneCloudHost)
orvane_test(CloudSessionServerTest LIBRARIES OrvaneCloudHost OrvaneCloudSupport)
target_compile_definitions(CloudSessionServerTest PRIVATE
    ORVANE_WEBDAV_SERVER="${CMAKE_CURRENT_SOURCE_DIR}/support/servers/webdav-server")

# Tests of the host's internals, compiled in: the shared library hides them.
function(orvane_host_test name)
    orvane_test(${name} LIBRARIES OrvaneCloudHost OrvaneCloudSupport)
    foreach(class IN LISTS ARGN)
        target_sources(${name} PRIVATE
            "${PROJECT_SOURCE_DIR}/src/library/OrvaneCloudHost/${class}.cpp"
            "${PROJECT_SOURCE_DIR}/src/library/OrvaneCloudHost/${class}.h")
    endforeach()
endfunction()

orvane_host_test(DocumentListMergerTest DepartedCopies DocumentListMerger LocalCopies RunningTransfers)
orvane_host_test(FailureReporterTest FailureReporter)
