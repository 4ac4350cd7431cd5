#!/usr/bin/env bash
# Checks the include check on a small tree of its own.
set -euo pipefail
check=$(realpath "$(dirname "$0")/check-includes.sh")
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
cd "$tree"
failures=0

# expect FILE INCLUDE ANSWER: an empty answer means that the include is allowed.
expect() {
    local file=$1 include=$2 wanted=$3 answer status=0
    mkdir -p "$(dirname "$file")"
    printf '#pragma once\n%s\n' "$include" >"$file"
    answer=$("$check" "$file") || status=1
    [[ -z $wanted ]] || wanted="$file:2: $wanted"
    if [[ $answer != "$wanted" || $status != $([[ -z $wanted ]]; echo $?) ]]; then
        printf '%s: %s\n  wanted: %s\n  got:    %s\n' "$file" "$include" "$wanted" "$answer"
        failures=$((failures + 1))
    fi
}

library='belongs into a .cpp file of Platform or Host'

expect Platform/UIKit/UIView.h '#include "Platform/QuartzCore/CALayer.h"' ''
expect Platform/UIKit/UIView.h '#include "Platform/UIKit/UIColor.h"' ''
expect Platform/QuartzCore/CALayer.h '#include "Platform/UIKit/UIView.h"' \
    'Platform/QuartzCore may not include Platform/UIKit'
expect Platform/QuartzCore/CALayer.cpp '#include "Platform/AudioToolbox/Sound.h"' \
    'Platform/QuartzCore may not include Platform/AudioToolbox'
expect Platform/Foundation/NSObject.cpp '  #  include "Animation/Common/DataTool.h"' \
    'Platform/Foundation may not include Animation'
expect Animation/Common/ImageSet.h '#include "Platform/Compositor/Compositor.h"' ''
expect Animation/Common/ImageSet.cpp '#include "Host/Window.h"' 'Animation may not include Host'
expect LumiveraLiveWallpaper/Export.cpp '#include "Tests/Support/Picture.h"' \
    'LumiveraLiveWallpaper may not include Tests'
expect Host/main.cpp '#include "Benchmarks/Scene.h"' 'Host may not include Benchmarks'
expect Tests/Host/MainTest.cpp '#include "Host/Window.h"' ''
expect Tests/Host/MainTest.cpp '#include "Fuzz/Input.h"' 'Tests may not include Fuzz'
expect Host/main.cpp '#include "Window.h"' '"Window.h" is not a path from the repository root'

expect Wallpapers/Rain/Rain.cpp '#include <Lumivera/Wallpaper.h>' ''
expect Wallpapers/Rain/Rain.cpp '#include "Drop.h"' ''
expect Wallpapers/Rain/Rain.cpp '#include "Platform/UIKit/UIView.h"' \
    'Wallpapers may not include Platform/UIKit'
expect Host/main.cpp '#include "Wallpapers/Rain/Drop.h"' 'Host may not include Wallpapers'
expect Tests/Wallpapers/Rain/RainTest.cpp '#include "Wallpapers/Rain/Drop.h"' ''

# The rooms of the host, the highest first: each may include every lower one and no higher one.
rooms=(Host/Commands Host/Desktop Host/Desktop/Isolation Host/Desktop/Control
    Host/Desktop/Configuration Host/Desktop/Policy Host/Rendering Host/Playing Host/Displays
    Host/Wallpapers Host/Support)
for ((i = 0; i + 1 < ${#rooms[@]}; ++i)); do
    upper=${rooms[i]} lower=${rooms[i + 1]}
    expect "$upper/Upper.h" "#include \"$lower/Lower.h\"" ''
    expect "$lower/Lower.h" "#include \"$upper/Upper.h\"" "$lower may not include $upper"
done
expect Host/Displays/X11/X11Surface.cpp '#include "Host/Desktop/Policy/PausePolicy.h"' \
    'Host/Displays may not include Host/Desktop/Policy'
expect Host/Program.cpp '#include "Host/Commands/Command.h"' ''
expect Host/Commands/Command.cpp '#include "Host/Program.h"' 'Host/Commands may not include Host'

expect Animation/Common/ImageSet.h '#include <vector>' ''
expect Animation/Common/ImageSet.h '#include <stdint.h>' ''
expect Animation/Common/ImageSet.cpp '#include <png.h>' "<png.h> $library"
expect Animation/Common/ImageSet.cpp '#include <dlfcn.h>' ''
expect Animation/Common/ImageSet.h '#include <dlfcn.h>' "<dlfcn.h> $library"
expect Platform/CoreGraphics/CGImage.h '#include <webp/decode.h>' "<webp/decode.h> $library"
expect Platform/CoreGraphics/CGImage.cpp '#include <webp/decode.h>' ''
expect Host/Options.h '#include <CLI/CLI.hpp>' "<CLI/CLI.hpp> $library"
expect Host/Options.cpp '#include <CLI/CLI.hpp>' ''
expect Tests/Support/Matchers.h '#include <gmock/gmock.h>' ''

mkdir Elsewhere
echo >Elsewhere/Thing.h
[[ $("$check" Elsewhere/Thing.h) == 'Elsewhere/Thing.h:1: lies in no folder of the table' ]] ||
    failures=$((failures + 1))

echo "$failures failures"
exit $((failures > 0))
