#!/usr/bin/env bash
# kit-test.sh BUILD_FOLDER: installs into a folder of its own, and makes wallpapers with nothing but
# what lies there: the template, and the samples of the page about plug-ins. Where there is an X server
# without a screen, it also shows the template's as the desktop.
source "$(dirname "${BASH_SOURCE[0]}")/installed.sh" "$1"
export CXXFLAGS='-Wall -Wextra -Wpedantic -Wshadow -Werror'

# expect_wallpaper LIBRARY: it shows nothing but the entry points, needs no search path, stays
# loaded, carries the number of the interface, and was made of nothing in the sources.
expect_wallpaper() {
    local symbols
    symbols=$(nm -D --defined-only "$1" | awk '$2 == "T" { print $3 }' | sort | tr '\n' ' ')
    [[ $symbols == 'getDeskTopViewInstance getDeskTopViewName getDeskTopViewVersion ' ]] ||
        fail "$1 shows $symbols"
    local entries notes
    entries=$(readelf -dW "$1") notes=$(readelf -nW "$1")
    ! grep -E 'RPATH|RUNPATH' <<<"$entries" || fail "$1 has a search path"
    grep -q NODELETE <<<"$entries" || fail "$1 may be unloaded"
    grep -qE "libLumiveraWallpaperKit\.so\.[0-9]+" <<<"$entries" || fail "$1 needs no numbered kit"
    grep -q 'Lumivera .*0x00000004' <<<"$notes" || fail "$1 does not tell its interface"
}

# The headers need nothing but one another.
while read -r header; do
    echo "#include <${header#"$prefix"/include/lumivera/}>"
done < <(find "$prefix/include" -name '*.h') >all.cpp
(($(wc -l <all.cpp) > 30)) || fail "few headers are installed"
g++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I"$prefix/include/lumivera" all.cpp
! grep -rlE '#include <(cairo|hwy|png|SDL|webp)' "$prefix/include" || fail "headers need libraries"

# The template: three commands to a film. The first run of its test keeps frames, the second one
# compares with them, and a third one finds a change of sizes.
"$lumivera" new --code Fireflies | sed -n 's/^  //p' >commands
PATH=$prefix/bin:$PATH bash -e commands >build.log 2>&1 || { cat build.log; fail "the template cannot be built"; }
[[ -s Fireflies.webp ]] || fail "the template makes no film with: $(cat commands)"
! grep -rlF "$source" Fireflies/build --include='*.d' || fail "the template is made of our sources"
bundle=Fireflies/build/Fireflies.bundle
expect_wallpaper $bundle/libFireflies.so
[[ $(ls $bundle) == $'background.png\nbackground@2x.png\nchime.wav\ndescription.plist\nlibFireflies.so\nlight.png\nlight@2x.png\nlight@3x.png\nthumbnail.png\nthumbnail@2x.png' ]] ||
    fail "the bundle holds: $(ls $bundle)"
"$lumivera" list --json Fireflies/build | grep -q '"author": "Your name"'
in_order ./$bundle
run_test() { ctest --test-dir Fireflies/build --output-on-failure >ctest.log 2>&1; }
run_test || { cat ctest.log; fail "the template's test fails"; }
[[ $(ls Fireflies/Tests/Frames | wc -l) == 3 ]] || fail "the template's test keeps no frames"
cmp -s Fireflies/Tests/Frames/00{30,60}.png && fail "the template does not move"
run_test || { cat ctest.log; fail "the template's frames are not the same"; }
sed -i 's/(12, 32)/(14, 32)/' Fireflies/FirefliesWallpaper.cpp
cmake --build Fireflies/build >build.log 2>&1
! run_test || fail "the template's test does not notice other sizes"

# A bundle is made anew when a file is taken out, and installed where the program looks for it.
rm Fireflies/Pictures/background@2x.png
cmake --build Fireflies/build >build.log 2>&1
[[ ! -e $bundle/background@2x.png ]] || fail "a picture that was taken out is in the bundle"
cmake --install Fireflies/build --prefix "$prefix" >/dev/null
"$lumivera" list | grep -q '^Fireflies ' || fail "the wallpaper is not installed"
"$lumivera" render Fireflies -o x.png --frames 2 --size 64x64

# It runs as a desktop, in the process that may only draw, and nothing is said about it.
show_as_desktop() {
    start_display
    start_desktop Fireflies
    ! grep Fireflies desktop.log || fail "the desktop has something to say"
    quit_desktop
}
! command -v Xvfb >/dev/null || show_as_desktop

# The page's samples: with CMake, and with one command.
mkdir Rain
cp "$prefix/share/lumivera/template/Pictures/background.png" Rain/sky.png
for file in Rain.cpp CMakeLists.txt; do
    block plug-in-contract.md $file >Rain/$file
    [[ -s Rain/$file ]] || fail "the page has no $file"
done
cmake -S Rain -B Rain/build -D CMAKE_PREFIX_PATH="$prefix" >build.log 2>&1 &&
    cmake --build Rain/build >>build.log 2>&1 || { cat build.log; fail "the sample cannot be built"; }
expect_wallpaper Rain/build/Rain.bundle/libRain.so
"$lumivera" render ./Rain/build/Rain.bundle -o rain.png --frames 20 --seed 1 --size 160x240
mkdir -p one/Rain.bundle
cp Rain/Rain.cpp one/
cp Rain/sky.png Rain/build/Rain.bundle/description.plist one/Rain.bundle/
block plug-in-contract.md build.sh >one/build.sh
(cd one && PKG_CONFIG_PATH=$prefix/lib/pkgconfig bash -e build.sh)
expect_wallpaper one/Rain.bundle/libRain.so
"$lumivera" render ./one/Rain.bundle -o one.png --frames 20 --seed 1 --size 160x240
cmp rain.png one.png

# A wallpaper that ships with code of its own needs nothing else, either.
cmake -S "$source/Wallpapers/Gallery" -B gallery -D CMAKE_PREFIX_PATH="$prefix" >build.log 2>&1 &&
    cmake --build gallery >>build.log 2>&1 || { cat build.log; fail "the gallery cannot be built"; }
! grep -rlE "$source/(Animation|Platform|Lumivera|Host)/" gallery --include='*.d' ||
    fail "the gallery is made of our sources"
gallery=gallery/share/lumivera/wallpapers/Gallery.bundle
expect_wallpaper $gallery/libGallery.so
"$lumivera" render ./$gallery -o built.png --frames 20 --size 160x240
"$lumivera" render Gallery -o shipped.png --frames 20 --size 160x240
cmp built.png shipped.png

# Mistakes in a CMake file are named.
expect_mistake() { # WORDS ARGUMENTS
    printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(Bad LANGUAGES CXX)' \
        'find_package(Lumivera REQUIRED)' "lumivera_add_wallpaper(Bad $2)" >Bad/CMakeLists.txt
    ! cmake -S Bad -B Bad/build -D CMAKE_PREFIX_PATH="$prefix" >bad.log 2>&1 ||
        fail "CMake takes: $2"
    tr -s ' \n' ' ' <bad.log | grep -qF "$1" || { cat bad.log; fail "CMake does not say: $1"; }
}
mkdir Bad
touch Bad/Bad.cpp Bad/sky.png
echo '<plist><dict><key>name Library</key><string>libOther.so</string></dict></plist>' >Bad/d.plist
expect_mistake 'name the source files after SOURCES' 'PICTURES sky.png'
expect_mistake 'there is no file' 'SOURCES Bad.cpp PICTURES none.png'
expect_mistake 'two files are named sky.png' 'SOURCES Bad.cpp PICTURES sky.png ./sky.png'
expect_mistake 'cannot use "PICTURE;sky.png"' 'PICTURE sky.png SOURCES Bad.cpp'
expect_mistake 'must have <key>name Library</key><string>libBad.so' \
    'SOURCES Bad.cpp DESCRIPTION d.plist'

# A package for another minor version is refused by CMake, and the kit may be missing.
sed -i 's/find_package(Lumivera/& 0.9/; s/SOURCES.*/SOURCES Bad.cpp)/' Bad/CMakeLists.txt
! cmake -S Bad -B Bad/build -D CMAKE_PREFIX_PATH="$prefix" >bad.log 2>&1 ||
    fail "CMake takes another version"
rm -r "$prefix/share/lumivera/template"
! "$lumivera" new --code Moths 2>error || fail "there is a template without a kit"
grep -q 'the kit for wallpapers with code is not installed; install' error
[[ ! -e Moths ]]

# The kit alone is what its package holds.
cmake --install "$build" --component Kit --prefix "$folder/kit" >/dev/null
for file in include/lumivera/Lumivera/Wallpaper.h lib/cmake/Lumivera/LumiveraConfig.cmake \
    lib/pkgconfig/lumivera.pc share/lumivera/template/CMakeLists.txt; do
    [[ -s kit/$file ]] || fail "the kit has no $file"
done
[[ -L kit/lib/libLumiveraPlatform.so && -L kit/lib/libLumiveraWallpaperKit.so ]] ||
    fail "the kit has no links to the libraries"
[[ -z $(find kit -type f -name '*.so*') && ! -e kit/bin ]] || fail "the kit has the program's files"
