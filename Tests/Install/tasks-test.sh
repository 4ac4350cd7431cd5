#!/usr/bin/env bash
# tasks-test.sh BUILD_FOLDER: what anyone can do with an installed Lumivera alone: a photo becomes the
# desktop in one command, eight pictures become falling snow, twelve mistakes are found at once, and
# four commands lead to a film of a wallpaper in C++.
for tool in Xvfb convert import; do
    command -v "$tool" >/dev/null || { echo "needs $tool"; exit 77; }
done
source "$(dirname "${BASH_SOURCE[0]}")/installed.sh" "$1"
export PATH=$prefix/bin:$PATH

# sideways_photo FILE: as a camera takes it that is held sideways. Upright, it is blue and red above,
# and white and green below.
sideways_photo() {
    convert -size 320x240 xc:red xc:lime +append \( xc:blue xc:white +append \) -append quarters.jpg
    {
        head -c 2 quarters.jpg
        # Exif data with one entry: orientation (0x112), a short number (3), one of them, 6.
        printf '\xff\xe1\x00\x22Exif\x00\x00II*\x00\x08\x00\x00\x00'
        printf '\x01\x00\x12\x01\x03\x00\x01\x00\x00\x00\x06\x00\x00\x00\x00\x00\x00\x00'
        tail -c +3 quarters.jpg
    } >"$1"
}

# quarters PICTURE: whether there is much red, green and blue in each of the four parts of a picture
# of 320x240, petals on them or not.
quarters() {
    local place
    for place in +20+15 +180+15 +20+135 +180+135; do
        convert "$1" -crop 120x90$place +repage -resize 1x1! -colorspace sRGB -depth 8 rgb:- |
            od -An -tu1 | awk '{ print ($1 > 150) ($2 > 150) ($3 > 150) }'
    done | xargs
}

photo_to_desktop() {
    local upright='001 100 111 010'
    sideways_photo beach.jpg
    start_display
    import -window root before.png
    start_desktop beach.jpg
    [[ $(quarters shot.png) == "$upright" ]] || fail "the photo is $(quarters shot.png)"
    shows_the_photo() { import -window root screen.png && [[ $(quarters screen.png) == "$upright" ]]; }
    eventually shows_the_photo || fail "the screen is $(quarters screen.png)"
    lumivera list | grep -q "^beach .* $XDG_DATA_HOME/lumivera/wallpapers/.*\.bundle" ||
        fail "the list lacks the photo: $(lumivera list)"
    quit_desktop
    is_clean() { import -window root after.png && [[ $(compare_pictures before.png after.png) == 0 ]]; }
    compare_pictures() { compare -metric AE "$1" "$2" null: 2>&1; }
    eventually is_clean || fail "something stays on the screen"
    [[ -z $(find run -type s) ]] || fail "a socket stays: $(find run -type s)"
    ! pgrep -f "^$prefix" || fail "a process runs on"
}

eight_pictures() {
    local i
    convert -size 2400x1500 gradient:'#0b1026'-'#42557a' sky.png
    for i in 1 2 3 4 5 6 7; do
        convert -size 120x120 xc:none -stroke white -strokewidth $((2 + i)) -draw \
            'translate 60,60 line -50,0 50,0 rotate 60 line -50,0 50,0 rotate 60 line -50,0 50,0' \
            flake$i.png
    done
}

snow_from_eight_pictures() {
    eight_pictures
    lumivera new Snow.bundle --background sky.png --petals flake?.png --name Snow --author Anna \
        --summary 'Snow falls at night.' --license CC0-1.0 >/dev/null
    in_order ./Snow.bundle
}

# replace FROM TO: in the description.
replace() {
    grep -q "$1" description.plist || fail "the description has no $1"
    sed -i "s|$1|$2|" description.plist
}

plant_twelve_mistakes() {
    ln -s /etc/hostname photographer
    cp lumivera_background_.png LUMIVERA_background_.png
    replace '<key>falling Speed' '<key>faling speed'
    replace '<string>Anna</string>' '<integer>1984</integer>'
    replace '<integer>80</integer>' '<integer>500</integer>'
    rm lumivera_petal2*.png
    cp lumivera_petal1.png snowman.png
    truncate -s 200 lumivera_petal3.png
    cp lumivera_petal4.png lumivera_petal4@2x.png
    convert lumivera_flower2.png -background black -alpha remove -alpha off lumivera_flower2.png
    rm thumbnail*.png
    mkdir pictures
    cp lumivera_petal4.png pictures
    lumivera pack create flakes.pack pictures >/dev/null
    rm -r pictures
    truncate -s -20 flakes.pack
}

# The lines of the twelve mistakes: degree, file or key, what is the matter, what helps, rule.
expected_mistakes() {
    cat <<'LINES'
doubtful  snowman.png: is never shown; give it the name of a picture that is, or take it out  [unused]
doubtful  thumbnail.png: is missing, so lists show an empty card; add a picture of 180x240 pixels  [thumbnail]
wrong     description.plist, "author": is no text; write it as a <string>  [types]
wrong     description.plist, "faling speed": nothing reads this key; write "falling Speed"  [keys]
wrong     description.plist, "sakura Count": is 500, which counts as 300; give a number from 1 to 300  [ranges]
wrong     flakes.pack: is no resource pack: entry 1 of 1, at byte 4, is cut short; make it anew with `lumivera pack create`  [packs]
wrong     lumivera_background_.png: differs from LUMIVERA_background_.png in capital letters alone; rename or remove one; not every system can keep both  [names]
wrong     lumivera_flower2.png: has no transparency, and falls as a rectangle; make what is around the petal transparent  [transparency]
wrong     lumivera_petal2.png: is missing; the petals need a picture of that name  [pictures]
wrong     lumivera_petal3.png: is damaged, too large or no picture; PNG, JPEG and WebP files of up to 64 million pixels are understood  [decoding]
wrong     lumivera_petal4@2x.png: is 36x36, not 72x72 as lumivera_petal4.png asks for; make it exactly 2 times as large  [densities]
wrong     photographer: is a link, which a bundle may not have; put a copy of the file in its place; `cp -rL` copies a bundle so  [links]
LINES
}

twelve_mistakes_at_once() {
    cp -r Snow.bundle Mistakes.bundle
    (cd Mistakes.bundle && plant_twelve_mistakes)
    local status=0
    lumivera check ./Mistakes.bundle >mistakes 2>error || status=$?
    [[ $status == 1 ]] || fail "the check of twelve mistakes ends with $status"
    diff <(expected_mistakes) <(sed -n 's/^  //p' mistakes | LC_ALL=C sort) || fail "other mistakes are found"
}

four_commands_to_a_film() {
    block plug-in-contract.md 'new --code' >page
    [[ $(wc -l <page) == 4 ]] || fail "the page has other commands: $(cat page)"
    bash -e <(head -1 page) >said
    diff <(tail -3 page) <(sed -n "s|^  ||; s| -D CMAKE_PREFIX_PATH=$prefix||; 2,\$p" said) ||
        fail "the program prints other commands than the page"
    bash -e <(sed -n 's/^  //p' said) >build.log 2>&1 || { cat build.log; fail "they lead to no film"; }
    [[ $(head -c 4 Fireflies.webp) == RIFF ]] && grep -aq ANMF Fireflies.webp ||
        fail "Fireflies.webp is no film"
}

photo_to_desktop
snow_from_eight_pictures
twelve_mistakes_at_once
four_commands_to_a_film
