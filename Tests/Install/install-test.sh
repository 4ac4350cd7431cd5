#!/usr/bin/env bash
# install-test.sh BUILD_FOLDER: installs into a folder of its own, and checks that everything lies
# where a system expects it and that the program runs from there.
set -euo pipefail
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$1" --prefix "$prefix" >/dev/null

library=$prefix/lib/libLumiveraLiveWallpaper.dylib
for file in "$library" "$prefix/lib/libLumiveraWallpaperKit.so" \
    "$prefix/lib/libLumiveraPlatform.so" "$prefix/bin/lumivera" \
    "$prefix/include/lumivera/Lumivera/Wallpaper.h" \
    "$prefix/share/man/man1/lumivera.1" \
    "$prefix/share/applications/lumivera.desktop" "$prefix/lib/systemd/user/lumivera.service" \
    "$prefix/share/applications/lumivera-install.desktop" "$prefix/share/mime/packages/lumivera.xml" \
    "$prefix/share/icons/hicolor/scalable/apps/lumivera.svg" \
    "$prefix/share/bash-completion/completions/lumivera" \
    "$prefix/share/zsh/vendor-completions/_lumivera" \
    "$prefix/share/fish/vendor_completions.d/lumivera.fish" \
    "$prefix/share/gnome-shell/extensions/lumivera@lumivera.app/extension.js"; do
    [[ -s $file ]] || { echo "$file is missing"; exit 1; }
done
for name in Lumivera Maple Snow; do
    bundle=$prefix/share/lumivera/wallpapers/$name.bundle
    [[ -f $bundle/description.plist ]] || { echo "$bundle has no description"; exit 1; }
    [[ -z $(find "$bundle" ! -type f ! -type d) ]] || { echo "$bundle holds links"; exit 1; }
    [[ -z $(find "$bundle" -name '*.dylib') ]] || { echo "$bundle holds a library"; exit 1; }
done
! ldd "$library" | grep 'not found' ||
    { echo "the installed library does not find those behind it"; exit 1; }

for name in Fireflies Gallery; do
    bundle=$prefix/share/lumivera/wallpapers/$name.bundle
    [[ -f $bundle/description.plist && -f $bundle/lib$name.so ]] ||
        { echo "$bundle is not complete"; exit 1; }
done

# Loaded from the new place, not from the build folder.
loaded=$(ldd "$prefix/bin/lumivera" | grep -o "$prefix/[^ ]*" | xargs realpath)
[[ $(wc -l <<<"$loaded") == 3 ]] || { echo "the program loads $loaded"; exit 1; }
"$prefix/bin/lumivera" --help >/dev/null

# The desktop entry starts this very program. KWin tells a program its windows when the first entry
# that it finds for the program asks for them, whichever that is.
entry=$prefix/share/applications/lumivera.desktop
[[ $(grep -c "^Exec=\"$prefix/bin/lumivera\" " "$entry") == 4 ]] ||
    { echo "the desktop entry starts another program"; exit 1; }
for each in "$prefix"/share/applications/*.desktop; do
    grep -q '^X-KDE-Wayland-Interfaces=org_kde_plasma_window_management$' "$each" ||
        { echo "$each does not ask for windows"; exit 1; }
done

# A double click on a shared wallpaper starts it, too: its type is known by the name and by the bytes.
grep -qxF "Exec=\"$prefix/bin/lumivera\" install --window %f" \
    "$prefix/share/applications/lumivera-install.desktop"
if command -v desktop-file-validate >/dev/null; then
    desktop-file-validate "$prefix"/share/applications/*.desktop
fi
(cd "$prefix" && bin/lumivera bundle pack Maple -o Maple.lumivera >/dev/null)
cp "$prefix/Maple.lumivera" "$prefix/unnamed"
if command -v update-mime-database >/dev/null && command -v gio >/dev/null; then
    update-mime-database "$prefix/share/mime" >/dev/null 2>&1
    for file in Maple.lumivera unnamed; do
        type=$(XDG_DATA_HOME=$prefix/share XDG_DATA_DIRS=/usr/share \
            gio info -a standard::content-type "$prefix/$file")
        [[ $type == *application/x-lumivera-bundle* ]] || { echo "$file has the type $type"; exit 1; }
    done
fi

# The completions are those of this very program.
"$prefix/bin/lumivera" completions bash |
    cmp - "$prefix/share/bash-completion/completions/lumivera"
bash -c "source '$prefix/share/bash-completion/completions/lumivera'; complete -p lumivera" >/dev/null
