# Renders the wallpaper twice from one seed, and compares the frames with one another and with those
# in Tests/Frames. Where there are none, the frames of this run are kept there: look at them, and add
# them to version control. After a change that is meant to draw other pixels, delete the folder.
cmake_minimum_required(VERSION 3.25)
set(kept ${CMAKE_CURRENT_LIST_DIR}/Frames)
set(frames 0030.png 0060.png 0090.png)

foreach(run one two)
    file(REMOVE_RECURSE ${OUTPUT}/${run})
    file(MAKE_DIRECTORY ${OUTPUT}/${run})
    execute_process(
        COMMAND ${PROGRAM} render ${BUNDLE} -o ${OUTPUT}/${run}/%04d.png
            --script ${CMAKE_CURRENT_LIST_DIR}/tap.json --seed 7 --frames 91 --size 160x240
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# compare(FOLDER): stops when a frame differs from that of the first run.
function(compare FOLDER)
    foreach(frame ${frames})
        file(SHA256 ${OUTPUT}/one/${frame} sum)
        file(SHA256 ${FOLDER}/${frame} expected)
        if(NOT sum STREQUAL expected)
            message(FATAL_ERROR "${OUTPUT}/one/${frame} differs from ${FOLDER}/${frame}")
        endif()
    endforeach()
endfunction()

compare(${OUTPUT}/two)
if(EXISTS ${kept})
    compare(${kept})
else()
    foreach(frame ${frames})
        file(COPY ${OUTPUT}/one/${frame} DESTINATION ${kept})
    endforeach()
    message(STATUS "kept the frames of this run in ${kept}")
endif()
