orvane_test(CloudSessionTest LIBRARIES OrvaneCloudHost)

# Internals of the host, compiled in: the shared library hides them.
orvane_test(DocumentListMergerTest LIBRARIES OrvaneCloudManager)
target_sources(DocumentListMergerTest PRIVATE
    "${PROJECT_SOURCE_DIR}/src/library/OrvaneCloudHost/DocumentListMerger.cpp"
    "${PROJECT_SOURCE_DIR}/src/library/OrvaneCloudHost/DocumentListMerger.h")
