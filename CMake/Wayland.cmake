# Generates code from Wayland's protocol descriptions. Those that no package has lie in Protocols
# folders of the sources.

pkg_get_variable(WAYLAND_SCANNER wayland-scanner wayland_scanner)
pkg_get_variable(WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)
# Found as a file, because the package's CMake files are those of the building machine's processor.
find_path(PLASMA_PROTOCOLS plasma-window-management.xml REQUIRED
    PATHS /usr/share /usr/local/share PATH_SUFFIXES plasma-wayland-protocols)

# lumivera_wayland_protocols(TARGET SIDES client|server... [CODE] PROTOCOLS file...)
# Makes a library of the headers <NAME-client-protocol.h> or <NAME-server-protocol.h>. With CODE it
# also defines what the headers declare; a program may link only one such library of a protocol.
function(lumivera_wayland_protocols TARGET)
    cmake_parse_arguments(PARSE_ARGV 1 arg "CODE" "" "SIDES;PROTOCOLS")
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/${TARGET})
    file(MAKE_DIRECTORY ${folder})
    set(generated)
    set(code)
    foreach(protocol ${arg_PROTOCOLS})
        cmake_path(GET protocol STEM LAST_ONLY name)
        foreach(side ${arg_SIDES})
            set(header ${folder}/${name}-${side}-protocol.h)
            add_custom_command(OUTPUT ${header}
                COMMAND ${WAYLAND_SCANNER} ${side}-header ${protocol} ${header}
                DEPENDS ${protocol} VERBATIM)
            list(APPEND generated ${header})
        endforeach()
        if(arg_CODE)
            # The generated code is C. Behind the header, which declares its symbols extern "C", it
            # compiles as C++.
            list(GET arg_SIDES 0 side)
            set(source ${folder}/${name}-protocol.cpp)
            file(CONFIGURE OUTPUT ${source} CONTENT
                "#include \"${name}-${side}-protocol.h\"\n#include \"${name}-protocol.inc\"\n")
            add_custom_command(OUTPUT ${folder}/${name}-protocol.inc
                COMMAND ${WAYLAND_SCANNER} private-code ${protocol} ${folder}/${name}-protocol.inc
                DEPENDS ${protocol} VERBATIM)
            list(APPEND generated ${folder}/${name}-protocol.inc)
            list(APPEND code ${source})
        endif()
    endforeach()
    add_custom_target(${TARGET}Files DEPENDS ${generated})
    if(arg_CODE)
        add_library(${TARGET} STATIC ${code})
        target_compile_options(${TARGET} PRIVATE -w)
        target_link_libraries(${TARGET} PRIVATE PkgConfig::WAYLAND_CLIENT)
        set(scope PUBLIC)
    else()
        add_library(${TARGET} INTERFACE)
        set(scope INTERFACE)
    endif()
    target_include_directories(${TARGET} SYSTEM ${scope} ${folder})
    add_dependencies(${TARGET} ${TARGET}Files)
endfunction()
