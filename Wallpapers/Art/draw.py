"""Writes every picture of the bundles as SVG, and one line for each that says what to render.

Usage: draw.py FOLDER. Lines go to standard output: "sprite BUNDLE NAME" or "background BUNDLE".
"""

import os
import sys

import blossom
import dusk
import leaves
import woods

BUNDLES = {"Lumivera": (dusk, blossom), "Maple": (woods, leaves)}


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def main():
    folder = sys.argv[1]
    for bundle, (background, sprites) in BUNDLES.items():
        os.makedirs(os.path.join(folder, bundle), exist_ok=True)
        write(os.path.join(folder, bundle, "background.svg"),
              background.draw().text(background.WIDTH, background.HEIGHT))
        print("background", bundle)
        for name, (drawing, size) in sprites.sprites().items():
            write(os.path.join(folder, bundle, name + ".svg"), drawing.text(*size))
            print("sprite", bundle, name)


if __name__ == "__main__":
    main()
