# lumivera_add_wallpaper(NAME SOURCES file... [PICTURES file...] [SOUNDS file...]
#     [TITLE text] [AUTHOR text] [SUMMARY text] [LICENSE text] [DESCRIPTION file]
#     [DIRECTORY folder])
# Builds the bundle NAME.bundle in the current build folder, or in DIRECTORY, and installs it into
# share/lumivera/wallpapers: a library libNAME.so of the SOURCES, which NAME is the target of, the
# PICTURES and SOUNDS, and a description of the texts, or that of the file DESCRIPTION. Pictures and
# sounds lie in the bundle under their file names; thumbnail.png is the one that hosts show in lists.
function(lumivera_add_wallpaper NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg ""
        "TITLE;AUTHOR;SUMMARY;LICENSE;DESCRIPTION;DIRECTORY" "SOURCES;PICTURES;SOUNDS")
    if(arg_UNPARSED_ARGUMENTS OR arg_KEYWORDS_MISSING_VALUES)
        message(FATAL_ERROR "lumivera_add_wallpaper(${NAME}): cannot use "
            "\"${arg_UNPARSED_ARGUMENTS}${arg_KEYWORDS_MISSING_VALUES}\"; "
            "LumiveraWallpaper.cmake lists the arguments")
    elseif(NOT arg_SOURCES)
        message(FATAL_ERROR "lumivera_add_wallpaper(${NAME}): name the source files after SOURCES")
    endif()
    if(NOT arg_DIRECTORY)
        set(arg_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    endif()
    cmake_path(ABSOLUTE_PATH arg_DIRECTORY BASE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    set(bundle ${arg_DIRECTORY}/${NAME}.bundle)
    set(parts ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${NAME}.parts)

    lumivera_add_wallpaper_library(${NAME} ${arg_SOURCES})
    lumivera_check_wallpaper_files(${NAME} ${arg_PICTURES} ${arg_SOUNDS})
    lumivera_add_wallpaper_description(${NAME} ${parts}/description.plist)

    # Made anew as a whole, so that it never holds what was taken out, and so that a library which
    # is in use is not overwritten.
    add_custom_command(OUTPUT ${parts}/stamp
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${bundle}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${bundle}
        COMMAND ${CMAKE_COMMAND} -E copy ${parts}/description.plist $<TARGET_FILE:${NAME}>
                ${files} ${bundle}
        COMMAND ${CMAKE_COMMAND} -E touch ${parts}/stamp
        DEPENDS ${NAME} ${files} ${parts}/description.plist
        COMMENT "Making ${NAME}.bundle"
        VERBATIM)
    add_custom_target(${NAME}.bundle ALL DEPENDS ${parts}/stamp)
    install(DIRECTORY ${bundle} DESTINATION share/lumivera/wallpapers)
endfunction()

function(lumivera_add_wallpaper_library NAME)
    add_library(${NAME} MODULE ${ARGN})
    target_link_libraries(${NAME} PRIVATE Lumivera::Wallpaper)
    # With fused multiply-adds the frames would depend on the processor. Views outlive the handle of
    # the library that made them, so it must stay loaded.
    target_compile_options(${NAME} PRIVATE -ffp-contract=off)
    target_link_options(${NAME} PRIVATE LINKER:-z,nodelete)
    # A library with a sanitizer does not link that one's functions.
    get_directory_property(options LINK_OPTIONS)
    if(NOT "${options} ${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize")
        target_link_options(${NAME} PRIVATE LINKER:-z,defs)
    endif()
    # The program has loaded the kit's libraries, so that a search path is of no use.
    set_target_properties(${NAME} PROPERTIES
        PREFIX lib
        SUFFIX .so
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        BUILD_WITH_INSTALL_RPATH ON
        INSTALL_RPATH "")
endfunction()

# Sets `files` to the absolute paths of a bundle's pictures and sounds.
function(lumivera_check_wallpaper_files NAME)
    set(names)
    set(files)
    foreach(file ${ARGN})
        cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
        cmake_path(GET file FILENAME name)
        if(NOT EXISTS ${file} OR IS_DIRECTORY ${file})
            message(FATAL_ERROR "lumivera_add_wallpaper(${NAME}): there is no file ${file}")
        elseif(name IN_LIST names)
            message(FATAL_ERROR "lumivera_add_wallpaper(${NAME}): two files are named ${name}")
        endif()
        list(APPEND names ${name})
        list(APPEND files ${file})
    endforeach()
    set(files ${files} PARENT_SCOPE)
endfunction()

# Writes the description of the texts that the caller's arg_ variables hold.
function(lumivera_add_wallpaper_description NAME OUTPUT)
    set(library lib${NAME}.so)
    if(arg_DESCRIPTION)
        cmake_path(ABSOLUTE_PATH arg_DESCRIPTION BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${arg_DESCRIPTION})
        file(READ ${arg_DESCRIPTION} description)
        if(NOT description MATCHES "<string>${library}</string>")
            message(FATAL_ERROR "lumivera_add_wallpaper(${NAME}): ${arg_DESCRIPTION} must have "
                "<key>name Library</key><string>${library}</string>")
        endif()
        configure_file(${arg_DESCRIPTION} ${OUTPUT} COPYONLY)
        return()
    endif()
    set(entries "    <key>name Library</key>\n    <string>${library}</string>\n")
    if(NOT arg_TITLE)
        set(arg_TITLE ${NAME})
    endif()
    foreach(pair TITLE:name AUTHOR:author SUMMARY:summary LICENSE:license)
        string(REGEX MATCH "^(.*):(.*)$" pair ${pair})
        set(text "${arg_${CMAKE_MATCH_1}}")
        set(key ${CMAKE_MATCH_2})
        if(NOT text STREQUAL "")
            string(REPLACE "&" "&amp;" text "${text}")
            string(REPLACE "<" "&lt;" text "${text}")
            string(APPEND entries "    <key>${key}</key>\n    <string>${text}</string>\n")
        endif()
    endforeach()
    file(CONFIGURE OUTPUT ${OUTPUT} CONTENT [[
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
@entries@</dict>
</plist>
]] @ONLY)
endfunction()
