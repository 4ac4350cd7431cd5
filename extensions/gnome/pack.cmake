# Puts one form of the extension into FOLDER, and that into ZIP. Shells before 45 read scripts, which
# export what they declare by `var` or `function`, and import by `imports`.

function(to_legacy text)
    foreach(rule
        "import {Extension} from [^\n]*\n=>"
        "export default class ([A-Za-z]+) extends Extension=>var \\1 = class"
        "import ([A-Za-z]+) from 'gi://[A-Za-z]+'=>const \\1 = imports.gi.\\1"
        "import \\* as ([A-Za-z]+) from 'resource:///org/gnome/shell/ui/([A-Za-z]+).js'=>const \\1 = imports.ui.\\2"
        "import ({[A-Za-z, ]+}) from 'resource:///org/gnome/shell/ui/([A-Za-z]+).js'=>const \\1 = imports.ui.\\2"
        "import ({[A-Za-z, ]+}) from './([A-Za-z]+).js'=>const \\1 = imports.misc.extensionUtils.getCurrentExtension().imports.\\2"
        "export class ([A-Za-z]+)=>var \\1 = class"
        "export const=>var"
        "export function=>function")
        string(REGEX MATCH "^(.*)=>(.*)$" rule "${rule}")
        string(REGEX REPLACE "${CMAKE_MATCH_1}" "${CMAKE_MATCH_2}" text "${text}")
    endforeach()
    set(text "${text}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${FOLDER})
string(REGEX REPLACE "([0-9]+)" "\"\\1\"" SHELL_VERSIONS "${VERSIONS}")
string(REPLACE ";" ", " SHELL_VERSIONS "${SHELL_VERSIONS}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/metadata.json.in ${FOLDER}/metadata.json @ONLY)
file(GLOB modules ${CMAKE_CURRENT_LIST_DIR}/*.js)
foreach(module ${modules})
    get_filename_component(name ${module} NAME)
    file(READ ${module} text)
    if(FORM STREQUAL legacy)
        to_legacy("${text}")
        if(name STREQUAL extension.js)
            string(APPEND text "\nfunction init() {\n    return new LumiveraExtension();\n}\n")
        endif()
    endif()
    file(WRITE ${FOLDER}/${name} "${text}")
endforeach()
file(GLOB files RELATIVE ${FOLDER} ${FOLDER}/*)
execute_process(COMMAND ${CMAKE_COMMAND} -E tar cf ${ZIP} --format=zip ${files}
    WORKING_DIRECTORY ${FOLDER} COMMAND_ERROR_IS_FATAL ANY)
