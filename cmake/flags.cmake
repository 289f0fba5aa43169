# How everything of the project is compiled; users of the libraries get none of it.
include(CheckCCompilerFlag)
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

add_library(timecode_flags INTERFACE)
target_compile_features(timecode_flags INTERFACE c_std_11 cxx_std_20)
target_compile_definitions(timecode_flags INTERFACE _GNU_SOURCE)
target_compile_options(timecode_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wundef -Wformat-security
    "$<$<COMPILE_LANGUAGE:CXX>:SHELL:-include ${PROJECT_SOURCE_DIR}/cmake/older_tools.h>"
    # Single-precision steps must round the same on every machine.
    -ffp-contract=off
    # The same sources give the same bytes in every folder. A debug build keeps the paths, for debuggers and coverage.
    $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=.>)

foreach(language C CXX)
    if(NOT DEFINED CMAKE_${language}_EXTENSIONS)
        set(CMAKE_${language}_EXTENSIONS OFF)
    endif()
endforeach()

if(TIMECODE_HARDENING)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    check_pie_supported(LANGUAGES C CXX)
    set(CMAKE_REQUIRED_FLAGS -Werror) # clang only warns of flags of another machine
    foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
        foreach(language C CXX) # which may be compilers of two makers
            string(MAKE_C_IDENTIFIER "timecode_${language}_has${flag}" has)
            cmake_language(CALL check_${language}_compiler_flag ${flag} ${has})
            if(${has})
                target_compile_options(timecode_flags INTERFACE $<$<COMPILE_LANGUAGE:${language}>:${flag}>)
            endif()
        endforeach()
    endforeach()
    unset(CMAKE_REQUIRED_FLAGS)
    # Whoever asks for another level, or for a sanitizer, which has checks of its own, gets that alone.
    if(NOT "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "_FORTIFY_SOURCE|-fsanitize")
        target_compile_options(timecode_flags INTERFACE
            $<$<NOT:$<OR:$<CONFIG:Debug>,$<CONFIG:>>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
    endif()
endif()
