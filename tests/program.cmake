orvane_test(ProgramTest LIBRARIES OrvaneCloudHost)
target_compile_definitions(ProgramTest PRIVATE ORVANE_CLOUD_PROGRAM="$<TARGET_FILE:orvane-cloud>")
add_dependencies(ProgramTest orvane-cloud)

orvane_test(ProgramTextTest LIBRARIES OrvaneCloudCommandLine OrvaneCloudSupport)
