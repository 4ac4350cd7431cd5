#!/usr/bin/env bash
# package-test.sh BUILD_FOLDER: makes the Debian package, and checks that it names what it needs and
# holds a program that runs.
set -euo pipefail
for tool in dpkg-deb dpkg-shlibdeps; do
    command -v "$tool" >/dev/null || { echo "needs $tool"; exit 77; }
done
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cpack --config "$1/CPackConfig.cmake" -G DEB -B "$folder" >"$folder/log" 2>&1 ||
    { cat "$folder/log"; exit 1; }
packages=("$folder"/lumivera_*.deb)
[[ -f ${packages[0]} ]] || { echo "there is no package"; exit 1; }

needed=$(dpkg-deb -f "${packages[0]}" Depends)
for library in libc6 libsdl2 libwebp7 libsystemd0 libzip; do
    [[ $needed == *$library* ]] || { echo "the package does not need $library: $needed"; exit 1; }
done

dpkg-deb -x "${packages[0]}" "$folder/root"
usr=$folder/root/usr
for file in bin/lumivera lib/libLumiveraPlatform.so.[0-9]* lib/libLumiveraWallpaperKit.so.[0-9]* \
    lib/libLumiveraLiveWallpaper.dylib \
    lib/systemd/user/lumivera.service share/applications/lumivera.desktop \
    share/gnome-shell/extensions/lumivera@lumivera.app/metadata.json \
    share/mime/packages/lumivera.xml share/applications/lumivera-install.desktop \
    share/man/man1/lumivera.1 share/lumivera/wallpapers/Lumivera.bundle/description.plist; do
    compgen -G "$usr/$file" >/dev/null || { echo "the package has no $file"; exit 1; }
done
[[ -z $(find "$usr" -name '*plasma*') ]] || { echo "the package has the plug-in's parts"; exit 1; }

# What a wallpaper is made with lies in a package of its own, which needs the program's.
kit=("$folder"/liblumivera-dev_*.deb)
[[ -f ${kit[0]} ]] || { echo "there is no package of the kit"; exit 1; }
needed=$(dpkg-deb -f "${kit[0]}" Depends)
[[ $needed == "lumivera (= $(dpkg-deb -f "${packages[0]}" Version))" ]] ||
    { echo "the kit needs $needed"; exit 1; }
files=$(dpkg-deb -c "${kit[0]}")
for file in include/lumivera/Lumivera/Wallpaper.h lib/cmake/Lumivera/LumiveraConfig.cmake \
    lib/pkgconfig/lumivera.pc lib/libLumiveraWallpaperKit.so share/lumivera/template/README.md; do
    [[ $files == *"/usr/$file"* ]] || { echo "the kit's package has no $file"; exit 1; }
done
! grep '^-.*\.so' <<<"$files" || { echo "the kit's package has libraries"; exit 1; }
for file in include lib/cmake lib/pkgconfig lib/libLumiveraPlatform.so share/lumivera/template; do
    [[ ! -e $usr/$file ]] || { echo "the program's package has $file"; exit 1; }
done

# The plug-in for Plasma is built where Qt is installed.
plasma=("$folder"/lumivera-plasma_*.deb)
if [[ -f ${plasma[0]} ]]; then
    needed=$(dpkg-deb -f "${plasma[0]}" Depends)
    for library in lumivera libqt5quick5; do
        [[ $needed == *$library* ]] || { echo "the plug-in does not need $library: $needed"; exit 1; }
    done
    files=$(dpkg-deb -c "${plasma[0]}")
    for file in share/plasma/wallpapers/org.lumivera.wallpaper/contents/ui/main.qml \
        org/lumivera/plasma/liblumiveraplasma.so org/lumivera/plasma/qmldir; do
        [[ $files == *"/$file"* ]] || { echo "the plug-in's package has no $file"; exit 1; }
    done
fi
owners=$(dpkg-deb -c "${packages[0]}" | awk '{ print $2 }' | sort -u)
[[ $owners == root/root ]] || { echo "the package's files belong to $owners"; exit 1; }
grep -q '^Exec="/usr/bin/lumivera" run$' "$usr/share/applications/lumivera.desktop"
"$usr/bin/lumivera" list --json "$usr/share/lumivera/wallpapers" | grep -q '"author": "Lumivera"'
"$usr/bin/lumivera" render "$usr/share/lumivera/wallpapers/Lumivera.bundle" --frames 2 \
    --size 64x64 -o "$folder/x.png"
