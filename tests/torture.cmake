# The library that scripts/torture preloads into the program. Elsewhere there is no such sweep.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    add_library(orvane-faults MODULE
        torture/faults/Dispatch.cpp
        torture/faults/Fault.cpp
        torture/faults/RawCall.cpp
        torture/faults/SystemCalls.cpp)
    orvane_compile_options(orvane-faults)
    set_target_properties(orvane-faults PROPERTIES PREFIX "" AUTOMOC OFF)
    target_link_libraries(orvane-faults PRIVATE ${CMAKE_DL_LIBS})
endif()
