orvane_test(PreviewCacheTest LIBRARIES OrvaneCloudProtocolInternals)
orvane_test(PreviewMakerTest LIBRARIES OrvaneCloudProtocolInternals)

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    add_executable(HostileHelper support/HostileHelper.cpp)
    orvane_compile_options(HostileHelper)
    # It runs under a limit on memory that the sanitizers exceed.
    target_compile_options(HostileHelper PRIVATE -fno-sanitize=all)
    target_link_options(HostileHelper PRIVATE -fno-sanitize=all)

    orvane_test(PreviewConfinementTest LIBRARIES OrvaneCloudProtocolInternals)
    add_dependencies(PreviewConfinementTest HostileHelper)
    target_compile_definitions(PreviewConfinementTest PRIVATE
        HOSTILE_HELPER="$<TARGET_FILE:HostileHelper>")
endif()
