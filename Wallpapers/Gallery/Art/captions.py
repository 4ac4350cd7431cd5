"""Writes the captions of the cards as SVG files: captions.py FOLDER

The letters are strokes of a round pen, so that no fonts are needed.
"""

import math
import pathlib
import sys

WIDTH, HEIGHT = 600, 120  # of a caption; it is as wide as its card
TITLE, NOTE = 58, 43  # heights of the letters, from the deepest point to the tallest
ROOM = 540  # for a line

# Letters have units of their own: the baseline is 0, the x-height 10, ascenders 15, descenders -5.
UNITS = 20
WEIGHT = 1.65
BETWEEN_LETTERS = 3.1
SPACE = 2.4

# A letter's width and its strokes, written like an SVG path: M x y begins a stroke, L x y draws a
# line, A an arc of an ellipse (centre, radii, first and last angle in degrees, anticlockwise from the
# right), C a cubic Bézier curve.
LETTERS = {
    "a": (9, "M9 10 L9 0 M9 5 A4.5 5 4.5 5 0 360"),
    "b": (9, "M0 15 L0 0 M9 5 A4.5 5 4.5 5 0 360"),
    "c": (8, "A4.6 5 4.6 5 48 312"),
    "d": (9, "M9 15 L9 0 M9 5 A4.5 5 4.5 5 0 360"),
    "e": (9.2, "M0.2 5.2 L9.2 5.2 A4.6 5 4.6 5 2 312"),
    "f": (4.6, "M5.2 14.7 A5 12 3 2.9 82 180 L2 0 M0 10 L4.8 10"),
    "g": (9, "M9 10 L9 -0.4 A4.5 -0.4 4.5 4.4 0 -148 M9 5 A4.5 5 4.5 5 0 360"),
    "h": (8, "M0 15 L0 0 M0 6 A4 6 4 4 180 0 L8 0"),
    "i": (0, "M0 10 L0 0 M0 13.9 L0 14"),
    "j": (1, "M1 10 L1 -2 A-1.6 -2 2.6 2.8 0 -80 M1 13.9 L1 14"),
    "k": (7.4, "M0 15 L0 0 M6.9 10 L0 3.9 M2.6 6.2 L7.4 0"),
    "l": (0, "M0 15 L0 0"),
    "m": (13, "M0 10 L0 0 M0 6.6 A3.25 6.6 3.25 3.4 180 0 L6.5 0 M6.5 6.6 A9.75 6.6 3.25 3.4 180 0 "
           "L13 0"),
    "n": (8, "M0 10 L0 0 M0 6 A4 6 4 4 180 0 L8 0"),
    "o": (9.4, "A4.7 5 4.7 5 0 360"),
    "p": (9, "M0 10 L0 -5 M9 5 A4.5 5 4.5 5 0 360"),
    "q": (9, "M9 10 L9 -5 M9 5 A4.5 5 4.5 5 0 360"),
    "r": (4.6, "M0 10 L0 0 M0 5.8 A4.2 5.8 4.2 4.2 180 80"),
    "s": (6.8, "M6.4 8.3 C5.8 9.5 4.8 10 3.5 10 C1.7 10 0.4 9 0.4 7.5 C0.4 5.9 1.9 5.5 3.5 5.1 "
           "C5.2 4.7 6.8 4.2 6.8 2.6 C6.8 1 5.4 0 3.5 0 C1.9 0 0.7 0.7 0 2"),
    "t": (5, "M2 13.4 L2 3 A4.7 3 2.7 3 180 284 M0 10 L5 10"),
    "u": (8, "M8 10 L8 0 M0 10 L0 4 A4 4 4 4 180 360"),
    "v": (8, "M0 10 L4 0 L8 10"),
    "w": (12.8, "M0 10 L3.2 0 L6.4 10 L9.6 0 L12.8 10"),
    "x": (7.4, "M0.2 10 L7.4 0 M7.2 10 L0 0"),
    "y": (8, "M0 10 L4 0.4 M8 10 L2.2 -5"),
    "z": (7, "M0.2 10 L7 10 L0 0 L7 0"),
    "0": (9, "A4.5 7 4.5 7 0 360"),
    "1": (3.4, "M0 11.2 L3.4 14 L3.4 0"),
    "2": (8, "M0.3 10.8 A4.1 9.9 3.9 4.1 166 -32 L0 0 L8 0"),
    "3": (8, "M0.6 12.3 A3.9 10.6 3.4 3.4 150 -90 A3.9 3.6 4.1 3.6 90 -152"),
    "4": (9, "M6.8 0 L6.8 14 L0 4 L9 4"),
    "5": (8, "M7.2 14 L1.5 14 L0.9 7.9 C1.9 8.6 2.9 8.9 3.9 8.9 C6.3 8.9 8 7.1 8 4.5 C8 1.8 6.2 0 "
           "3.8 0 C2.2 0 0.9 0.7 0 2"),
    "6": (8.6, "M6.2 14 L0.9 7 A4.3 4.4 4.3 4.4 143 503"),
    "7": (8, "M0 14 L8 14 L2.6 0"),
    "8": (8.4, "M7.5 10.6 A4.2 10.6 3.3 3.4 0 360 M8.4 3.6 A4.2 3.6 4.2 3.6 0 360"),
    "9": (8.6, "M2.4 0 L7.7 7 A4.3 9.6 4.3 4.4 -37 323"),
    ".": (0, "M0 0 L0 0.1"),
    "·": (0, "M0 5 L0 5.1"),
    "×": (5.6, "M0 2.2 L5.6 7.8 M0 7.8 L5.6 2.2"),
    "→": (11, "M0 5 L11 5 M7.4 8.6 L11 5 L7.4 1.4"),
    "↔": (14, "M0 5 L14 5 M10.4 8.6 L14 5 L10.4 1.4 M3.6 8.6 L0 5 L3.6 1.4"),
    ",": (1, "M1 0.1 L0 -2.6"),
}


def path_of(strokes, left, baseline, unit):
    """The strokes as an SVG path, with lines in place of curves."""
    parts = []

    def line_to(x, y, command="L"):
        parts.append(f"{command}{left + x * unit:.2f} {baseline - y * unit:.2f}")

    def arc(x, y, width, height, first, last, command):
        for i in range(25):
            angle = math.radians(first + (last - first) * i / 24)
            line_to(x + width * math.cos(angle), y + height * math.sin(angle),
                    command if i == 0 else "L")

    words = iter(strokes.replace("M", " M ").replace("L", " L ").replace("A", " A ")
                 .replace("C", " C ").split())
    command = "M"
    for kind in words:
        numbers = [float(next(words)) for _ in range({"M": 2, "L": 2}.get(kind, 6))]
        if kind == "M":
            line_to(*numbers, command="M")
            command = "L"
        elif kind == "L":
            line_to(*numbers)
        elif kind == "A":
            arc(*numbers, command=command)
            command = "L"
        else:
            places = [f"{left + x * unit:.2f} {baseline - y * unit:.2f}"
                      for x, y in zip(numbers[::2], numbers[1::2])]
            parts.append("C" + " ".join(places))
    return "".join(parts)


def line(text, baseline, size, opacity):
    """A centred line of text, smaller where there is too little room."""
    def units_of(letter):
        return LETTERS[letter][0] if letter != " " else SPACE
    units = sum(units_of(letter) + BETWEEN_LETTERS for letter in text) - BETWEEN_LETTERS + WEIGHT
    unit = min(size / UNITS, ROOM / units)
    left = (WIDTH - units * unit + WEIGHT * unit) / 2
    paths = []
    for letter in text:
        if letter != " ":
            paths.append(path_of(LETTERS[letter][1], left, baseline, unit))
        left += (units_of(letter) + BETWEEN_LETTERS) * unit
    return (f'<path d="{"".join(paths)}" fill="none" stroke="#ffedf5" stroke-opacity="{opacity}" '
            f'stroke-width="{WEIGHT * unit:.2f}" stroke-linecap="round" stroke-linejoin="round"/>')


def main():
    folder = pathlib.Path(sys.argv[1])
    rows = (pathlib.Path(__file__).parent / "captions.tsv").read_text(encoding="utf-8")
    for row in rows.splitlines():
        if row.startswith("#"):
            continue
        name, title, note = row.split("\t")
        (folder / f"{name}.svg").write_text(
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}">\n'
            f'{line(title, 52, TITLE, 0.95)}\n{line(note, 108, NOTE, 0.6)}\n</svg>\n',
            encoding="utf-8")


if __name__ == "__main__":
    main()
