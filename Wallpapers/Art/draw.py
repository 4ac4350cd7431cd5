"""Writes every picture of the bundles as SVG, and one line for each that says what to render.

Usage: draw.py FOLDER. Lines go to standard output: "sprite BUNDLE NAME", or "background BUNDLE
PERCENT", whose picture has that much more on each side than is shown.
"""

import os
import sys

import blossom
import dusk
import flakes
import leaves
import village
import woods

BUNDLES = {"Lumivera": (dusk, blossom, 0), "Maple": (woods, leaves, 0),
           "Snow": (village, flakes, 1)}


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def main():
    folder = sys.argv[1]
    for bundle, (background, sprites, overscan) in BUNDLES.items():
        os.makedirs(os.path.join(folder, bundle), exist_ok=True)
        write(os.path.join(folder, bundle, "background.svg"),
              background.draw().text(background.WIDTH, background.HEIGHT, overscan / 100))
        print("background", bundle, overscan)
        for name, (drawing, size) in sprites.sprites().items():
            write(os.path.join(folder, bundle, name + ".svg"), drawing.text(*size))
            print("sprite", bundle, name)
        if hasattr(sprites, "places"):
            write(os.path.join(folder, bundle, "places"), "".join(
                " ".join(str(part) for part in place) + "\n" for place in sprites.places()))


if __name__ == "__main__":
    main()
