# lumivera_sources(VARIABLE FOLDER...): sets VARIABLE to all .cpp files below the folders. A build
# notices new files by itself.
function(lumivera_sources VARIABLE)
    set(patterns ${ARGN})
    list(TRANSFORM patterns PREPEND ${PROJECT_SOURCE_DIR}/)
    list(TRANSFORM patterns APPEND /*.cpp)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${patterns})
    set(${VARIABLE} ${sources} PARENT_SCOPE)
endfunction()

# lumivera_platform_row(NAME [LIBRARY...]): one row of the platform. Only its own sources see the
# libraries.
function(lumivera_platform_row NAME)
    lumivera_sources(sources Platform/${NAME})
    add_library(${NAME} OBJECT ${sources})
    target_compile_definitions(${NAME} PRIVATE LUMIVERA_PLATFORM_BUILD)
    target_link_libraries(${NAME} PRIVATE ${ARGN})
    target_link_libraries(LumiveraPlatform PRIVATE ${NAME})

    # Tests of classes that the shared library hides link this archive behind that library, so that
    # it supplies only the symbols that the library does not export.
    add_library(${NAME}Internals STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:${NAME}>)
    target_link_libraries(${NAME}Internals PRIVATE ${ARGN})
endfunction()
