"""Draws every picture of the bundles as SVG, and prints one line for each that says what to render.

Usage: draw.py FOLDER. Lines are "sprite BUNDLE DRAWING PICTURE", "background BUNDLE DRAWING PICTURE
OVERSCAN" and "thumbnail BUNDLE PLACES PICTURE BACKGROUND": a drawing is a path below FOLDER, a
picture one below Wallpapers/, both without an extension; the overscan is the percentage that is
drawn beyond each side; the file PLACES has a line "SPRITE X Y ANGLE OPACITY" for each sprite.
"""

import os
import sys

import blossom
import dusk
import fireflies
import flakes
import leaves
import meadow
import village
import woods


class Bundle:
    """One wallpaper's drawing modules, and what its pictures are called."""

    def __init__(self, background, sprites, folder, prefix="lumivera_", ending="_", overscan=1):
        self.background, self.sprites, self.overscan = background, sprites, overscan
        self.folder, self.prefix, self.ending = folder, prefix, ending

    def picture(self, name):
        return f"{self.folder}/{self.prefix}{name}"


BUNDLES = {
    "Lumivera": Bundle(dusk, blossom, "Lumivera.bundle", overscan=0),
    "Maple": Bundle(woods, leaves, "Maple.bundle", overscan=0),
    "Snow": Bundle(village, flakes, "Snow.bundle"),
    "Fireflies": Bundle(meadow, fireflies, "Fireflies/Pictures", prefix="", ending=""),
}

# Where petals lie on a thumbnail: name, x, y (up to 240 and 320), angle, opacity.
PETALS = (("petal1", 34, 92, 25, .75), ("petal3", 196, 60, -40, .85),
          ("flower1", 150, 214, 15, .95), ("petal2", 88, 170, 70, .85),
          ("flower3", 26, 248, -20, .9), ("petal4", 116, 40, 35, .75), ("petal3", 84, 286, 110, .9),
          ("petal1", 204, 150, -75, .8), ("flower2", 184, 276, 200, .9),
          ("petal2", 20, 30, 160, .7))


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def draw(folder, name, bundle):
    os.makedirs(os.path.join(folder, name), exist_ok=True)
    scene = bundle.background
    write(os.path.join(folder, name, "background.svg"),
          scene.draw().text(scene.WIDTH, scene.HEIGHT, bundle.overscan / 100))
    background = bundle.picture("background" + bundle.ending)
    print("background", name, f"{name}/background", background, bundle.overscan)
    for sprite, (drawing, size) in bundle.sprites.sprites().items():
        write(os.path.join(folder, name, sprite + ".svg"), drawing.text(*size))
        print("sprite", name, f"{name}/{sprite}", bundle.picture(sprite))
    places = getattr(bundle.sprites, "places", lambda: PETALS)()
    write(os.path.join(folder, name, "places"), "".join(
        f"{bundle.picture(sprite)} {' '.join(map(str, rest))}\n" for sprite, *rest in places))
    print("thumbnail", name, f"{name}/places", f"{bundle.folder}/thumbnail", background)


def main():
    for name, bundle in BUNDLES.items():
        draw(sys.argv[1], name, bundle)


if __name__ == "__main__":
    main()
