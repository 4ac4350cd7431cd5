# Sets VARIABLE to the .cpp files under the given folders; a new file needs no edit here.
function(lumivera_sources VARIABLE)
    set(patterns ${ARGN})
    list(TRANSFORM patterns PREPEND ${PROJECT_SOURCE_DIR}/)
    list(TRANSFORM patterns APPEND /*.cpp)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${patterns})
    set(${VARIABLE} ${sources} PARENT_SCOPE)
endfunction()

# One row of the platform: its folder's sources, and the libraries that nobody else sees.
function(lumivera_platform_row NAME)
    lumivera_sources(sources Platform/${NAME})
    if(NOT sources)
        return()
    endif()
    add_library(${NAME} OBJECT ${sources})
    target_compile_definitions(${NAME} PRIVATE LUMIVERA_PLATFORM_BUILD)
    target_link_libraries(${NAME} PRIVATE ${ARGN})
    target_link_libraries(LumiveraPlatform PRIVATE ${NAME})

    # The same objects once more for the tests of classes that the shared library hides. Linked
    # behind the shared library, it gives only what that one does not.
    add_library(${NAME}Internals STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:${NAME}>)
    target_link_libraries(${NAME}Internals PRIVATE ${ARGN})
endfunction()
