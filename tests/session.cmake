orvane_test(CloudSessionTest LIBRARIES OrvaneCloudHost)

# Internals of the host, compiled in: the shared library hides them.
orvane_test(DocumentListMergerTest LIBRARIES OrvaneCloudHost OrvaneCloudSupport)
foreach(class IN ITEMS DepartedCopies DocumentListMerger LocalCopies RunningTransfers)
    target_sources(DocumentListMergerTest PRIVATE
        "${PROJECT_SOURCE_DIR}/src/library/OrvaneCloudHost/${class}.cpp"
        "${PROJECT_SOURCE_DIR}/src/library/OrvaneCloudHost/${class}.h")
endforeach()
