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

# The number of the interface between wallpapers and the libraries of the kit.
set(header ${PROJECT_SOURCE_DIR}/Lumivera/Interface.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
file(STRINGS ${header} LUMIVERA_INTERFACE REGEX "^#define LUMIVERA_INTERFACE [0-9]+$")
string(REGEX REPLACE "^.* " "" LUMIVERA_INTERFACE "${LUMIVERA_INTERFACE}")

# lumivera_kit_library(TARGET NAME): a library that wallpapers link. Its soname has the number of the
# interface. Others link it as Lumivera::NAME.
function(lumivera_kit_library TARGET NAME)
    set_target_properties(${TARGET} PROPERTIES
        SOVERSION ${LUMIVERA_INTERFACE}
        EXPORT_NAME ${NAME})
    target_compile_features(${TARGET} INTERFACE cxx_std_20)
    target_include_directories(${TARGET} INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:include/lumivera>)
    add_library(Lumivera::${NAME} ALIAS ${TARGET})
    install(TARGETS ${TARGET} EXPORT LumiveraLibraries
        LIBRARY DESTINATION lib NAMELINK_COMPONENT Kit)
endfunction()
