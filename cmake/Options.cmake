# Compiler settings that hold for every target of this build.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

# No contraction: the same inputs give the same bits with and without a fused multiply-add.
add_compile_options(-ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    add_compile_options(-Wshadow-all -Wsign-conversion -Wdouble-promotion -Wcast-qual -Wold-style-cast
        -Wconditional-uninitialized -Wunreachable-code -Wextra-semi -Wimplicit-fallthrough -Wnon-virtual-dtor
        -Woverloaded-virtual -Wmissing-variable-declarations)
endif()
option(TARN_WERROR "Treat warnings as errors" OFF)
if(TARN_WERROR)
    add_compile_options(-Werror)
endif()

if(TARN_SANITIZE)
    add_compile_options(-fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

if(TARN_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# A real-time kernel whose POSIX layer takes C functions over by name, and has code of its own to start with.
set(TARN_WRAP "" CACHE STRING "C functions that the library takes from __wrap_NAME instead, for example rand;memset")
set(TARN_RT_STUB "" CACHE STRING "Start-up object (path) or libraries (names) of the real-time kernel to link with")
function(tarn_link_real_time target wrapped stub)
    foreach(name IN LISTS wrapped)
        target_link_options(${target} PRIVATE LINKER:--wrap=${name})
    endforeach()
    if(stub)
        # the library itself refers to nothing in them
        target_link_options(${target} PRIVATE LINKER:--no-as-needed)
        target_link_libraries(${target} PRIVATE ${stub})
    endif()
endfunction()
