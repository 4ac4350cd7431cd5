# Compiler options, and the folders that programs and libraries are written to.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g -D_GLIBCXX_ASSERTIONS")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

# With fused multiply-adds the petals' paths would depend on the processor.
add_compile_options(-ffp-contract=off -Wall -Wextra)
include_directories(${PROJECT_SOURCE_DIR})

set(LUMIVERA_SANITIZE "" CACHE STRING "Value for -fsanitize=, such as address or thread")
if(LUMIVERA_SANITIZE)
    # With the sanitizers' checks in between, g++ warns wrongly that values may not be initialised.
    # The check of vtables opens a pipe to see what memory is readable: a process behind walls has
    # none, nor one without free descriptors, and then every exception counts as wrong.
    add_compile_options(-fsanitize=${LUMIVERA_SANITIZE} -fno-sanitize-recover=all
                        -fno-sanitize=vptr -fno-omit-frame-pointer
                        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    add_link_options(-fsanitize=${LUMIVERA_SANITIZE})
else()
    add_link_options(LINKER:-z,defs)
endif()

option(LUMIVERA_COVERAGE "Record which lines run (clang only)" OFF)
if(LUMIVERA_COVERAGE)
    add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
    add_link_options(-fprofile-instr-generate)
endif()

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

# The build tree is laid out as the installed tree, so that the program finds its libraries and
# wallpapers by the same relative paths in both.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
