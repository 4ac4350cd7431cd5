#!/usr/bin/env bash
# check-includes.sh FILE...: says which includes of these files (paths from the repository root)
# point upwards in the table below, or show another library's header where it does not belong.
# Fails when there are any.
exec awk '
BEGIN {
    # A row of the house, and the rows that it may include besides itself.
    allow("Platform/Foundation", "")
    allow("Platform/CoreGraphics", "Platform/Foundation")
    allow("Platform/QuartzCore", "Platform/Foundation Platform/CoreGraphics")
    allow("Platform/AudioToolbox", "Platform/Foundation Platform/CoreGraphics")
    allow("Platform/UIKit", "Platform/Foundation Platform/CoreGraphics Platform/QuartzCore " \
                            "Platform/AudioToolbox")
    platform = "Platform/Foundation Platform/CoreGraphics Platform/QuartzCore " \
               "Platform/AudioToolbox Platform/UIKit"
    allow("Platform/Compositor", platform)
    platform = platform " Platform/Compositor"
    allow("Animation", platform " LumiveraLiveWallpaper")
    allow("LumiveraLiveWallpaper", platform " Animation")
    allow("Lumivera", platform " Animation")
    # They are made with what the kit installs alone.
    allow("Lumivera/Template", "")
    allow("Wallpapers", "")
    everything = platform " Animation LumiveraLiveWallpaper Lumivera"
    # The rooms of the host, the lowest first: each may include those above it in this list.
    addRoom("Host/Support")
    addRoom("Host/Wallpapers")
    addRoom("Host/Displays")
    addRoom("Host/Playing")
    addRoom("Host/Rendering")
    addRoom("Host/Desktop/Policy")
    addRoom("Host/Desktop/Configuration")
    addRoom("Host/Desktop/Control")
    addRoom("Host/Desktop/Isolation")
    addRoom("Host/Desktop/Backgrounds")
    addRoom("Host/Desktop")
    addRoom("Host/Commands")
    addRoom("Host")
    allow("extensions", "Host/Support Host/Displays")
    allow("Tests", everything " Wallpapers")
    allow("Fuzz", everything)
    allow("Benchmarks", everything)

    count = split("assert ctype errno float inttypes limits math setjmp signal stdarg stdbool " \
                  "stddef stdint stdio stdlib string time uchar wchar", names, " ")
    for (i = 1; i <= count; ++i)
        standard[names[i] ".h"] = 1
}

function allow(row, others,    i, count, list) {
    rows[row] = 1
    allowed[row, row] = 1
    count = split(others, list, " ")
    for (i = 1; i <= count; ++i)
        allowed[row, list[i]] = 1
}

function addRoom(room) {
    allow(room, everything)
    everything = everything " " room
}

# The innermost row that a path lies in.
function rowOf(path,    row, found) {
    for (row in rows)
        if (index(path, row "/") == 1 && length(row) > length(found))
            found = row
    return found
}

function complain(what) {
    printf "%s:%d: %s\n", FILENAME, FNR, what
    failed = 1
}

function isMadeWithTheKit(row) {
    return row == "Lumivera/Template" || row == "Wallpapers"
}

function mayUseLibraries(row, header) {
    if (row ~ /^(Tests|Fuzz|Benchmarks|extensions)$/)
        return 1
    if (isMadeWithTheKit(row))
        return header ~ /^Lumivera\//
    # The base class of wallpapers opens their libraries with the dynamic loader.
    if (header == "dlfcn.h")
        return FILENAME ~ /\.cpp$/
    return FILENAME ~ /\.cpp$/ && row ~ /^(Host|Platform)/
}

FNR == 1 {
    row = rowOf(FILENAME)
    if (row == "")
        complain("lies in no folder of the table")
}

/^[ \t]*#[ \t]*include[ \t]*"/ {
    split($0, parts, "\"")
    # Such a folder is built wherever it lies, so its own headers have no path.
    if (isMadeWithTheKit(row) && parts[2] !~ /\//)
        next
    target = rowOf(parts[2])
    if (target == "")
        complain("\"" parts[2] "\" is not a path from the repository root")
    else if (row != "" && !((row, target) in allowed))
        complain(row " may not include " target)
}

/^[ \t]*#[ \t]*include[ \t]*</ {
    split($0, parts, /[<>]/)
    header = parts[2]
    if (header !~ /^[a-z0-9_]+$/ && !(header in standard) && !mayUseLibraries(row, header))
        complain("<" header "> belongs into a .cpp file of Platform or Host")
}

END { exit failed }
' "$@"
