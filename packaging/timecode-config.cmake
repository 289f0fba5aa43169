# find_package(timecode): timecode::timecode, and timecode::support for the services alone.
include(${CMAKE_CURRENT_LIST_DIR}/timecode-targets.cmake)
foreach(component ${timecode_FIND_COMPONENTS})
    if(timecode_FIND_REQUIRED_${component})
        set(timecode_FOUND FALSE)
        set(timecode_NOT_FOUND_MESSAGE "timecode has no components, so none called ${component}")
    endif()
endforeach()
