orvane_test(CloudSessionTest LIBRARIES OrvaneCloudHost)
orvane_test(CloudSessionServerTest LIBRARIES OrvaneCloudHost OrvaneCloudSupport)
target_compile_definitions(CloudSessionServerTest PRIVATE
    ORVANE_WEBDAV_SERVER="${CMAKE_CURRENT_SOURCE_DIR}/support/servers/webdav-server")

# Internals of the host, compiled in: the shared library hides them.
orvane_test(DocumentListMergerTest LIBRARIES OrvaneCloudHost OrvaneCloudSupport)
foreach(class IN ITEMS DepartedCopies DocumentListMerger LocalCopies RunningTransfers)
    target_sources(DocumentListMergerTest PRIVATE
        "${PROJECT_SOURCE_DIR}/src/library/OrvaneCloudHost/${class}.cpp"
        "${PROJECT_SOURCE_DIR}/src/library/OrvaneCloudHost/${class}.h")
endforeach()
