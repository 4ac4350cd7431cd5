#!/usr/bin/env bash
# helpers-test.sh: the wallpapers that ship show together how every helper of the kit is used. Fails
# and names the functions that none of them calls.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
sources=$(find Wallpapers Animation/DeskTopView/*/ -name '*.cpp' -o -name '*.h')

# functions HEADER: the names of what it declares for wallpapers, one a line.
functions() {
    sed 's|//.*||' "Animation/Common/$1" | tr '\n' ' ' |
        grep -oE '(static|WALLPAPER_EXPORT) [^;(){}]*\(' | sed 's/($//; s/.*[ *]//'
}

# What wallpapers call themselves; views hear of the ends of their animations without it.
helpers=$(functions UIView+LWUIAnimation.h | grep -v animationDidStop_finished
    functions ImageSet.h
    functions LWUICommonDefine.h
    printf '%s\n' imageWithName imageWithName2x setResourceData setSoundSwitch playSysSound setAppicon \
        setIsRunning encryptionDataWithData_encrypt CppVector2D)
(($(wc -l <<<"$helpers") > 25)) || { echo "few helpers are found: $helpers"; exit 1; }
missing=
for helper in $helpers; do
    # shellcheck disable=SC2086
    grep -qw -- "$helper" $sources || missing+=" $helper"
done
[[ -z $missing ]] || { echo "no wallpaper uses:$missing"; exit 1; }
