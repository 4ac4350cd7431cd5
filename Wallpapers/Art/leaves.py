"""Autumn leaves: three maple leaves for the flowers, four smaller leaves for the petals.

Each leaf grows from (0, 0), where its stalk joins, towards negative y; it is then turned and bent.
"""

import math
from random import Random

from sprite import fitted
from svg import bezier, mix, num, polygon, tapered

# Colours of a leaf: around its stalk, in its body, towards its edge; veins; shade and outline.
CRIMSON = ("#ff8a45", "#dc2a28", "#a90f28", "#ffb98a", "#6d0c20")
EMBER = ("#ffcb62", "#f57a1f", "#d63a17", "#ffe2a0", "#86240f")
GOLD = ("#ffe48a", "#f6b432", "#e2801f", "#fff3c4", "#99510f")
GINKGO = ("#efb92c", "#ffe36a", "#ffd23c", "#c98a10", "#b0760c")
BEECH = ("#f4a044", "#c4561f", "#8c3214", "#ffc983", "#5c1f0c")
BIRCH = ("#fff0a0", "#f3cf4e", "#dd9a2a", "#b9781a", "#95600f")


class Pose:
    """Turns flat leaf coordinates into the picture's: bent along the stalk, squeezed, turned."""

    def __init__(self, angle=0.0, bend=0.0, squeeze=1.0):
        self._bend, self._squeeze = bend, squeeze
        self._sin, self._cos = math.sin(math.radians(angle)), math.cos(math.radians(angle))

    def __call__(self, point):
        x, y = point
        along = -y / 100
        x = x * self._squeeze + self._bend * along * abs(along)
        return x * self._cos - y * self._sin, x * self._sin + y * self._cos


def _slender_side(width, length, teeth, random):
    """One side of a long, pointed lobe with fine forward teeth, from base to tip."""
    points = []
    for i in range(teeth):
        for t, bite in ((i / teeth, .84), ((i + .86) / teeth, 1.0)):
            t = .06 + .88 * t
            reach = width * math.sin(math.pi * (.12 + .88 * t) ** .86) ** 1.12
            points.append((t * length, reach * bite * random.uniform(.97, 1.05)))
    return points


# A broad lobe widens to a shoulder and has a smaller tooth before its tip: (along, across).
SHOULDERS = ((0, .6), (.3, .84), (.42, .8), (.6, 1.12), (.63, .66), (.7, .56), (.83, .62),
             (.84, .3))


def _broad_side(width, length, random):
    """One side of a broad lobe; the edge hangs in a curve from point to point."""
    points = []
    corners = [(t * length, w * width * random.uniform(.94, 1.06)) for t, w in SHOULDERS]
    corners.append((length, 0))
    for (ax, ay), (bx, by) in zip(corners, corners[1:]):
        points.append((ax, ay))
        if bx - ax > .08 * length:
            points.append(((ax + bx) / 2, (ay + by) / 2 - .05 * width))
    return points


def _lobe(angle, length, width, teeth, random):
    """The outline of one lobe; without teeth it is a broad one."""
    radians = math.radians(angle)
    ux, uy = math.sin(radians), -math.cos(radians)
    side = ((lambda: _slender_side(width, length, teeth, random)) if teeth
            else (lambda: _broad_side(width, length, random)))
    right = side()
    left = [(a, -b) for a, b in side()]
    flat = [(-5, 0)] + left + [(length, 0)] + right[::-1]
    return [(ux * a - uy * b, uy * a + ux * b) for a, b in flat]


def palmate(pose, lobes, colours, longest, seed, teeth=8, stalk=42):
    """A maple leaf: lobes of (angle, length, width) that share one base."""
    random = Random(seed)
    shapes = [[pose(p) for p in _lobe(a, l, w, teeth, random)] for a, l, w in lobes]
    stem = [pose(p) for p in bezier((0, 0), (2, stalk * .4), (7, stalk * .7), (5, stalk), 10)]
    drawing, size = fitted([p for s in shapes for p in s] + stem, longest)
    path = "".join(polygon(s) for s in shapes)
    veins = []
    for angle, length, width in lobes:
        veins += _lobe_veins(pose, angle, length, width)
    _stem(drawing, stem, colours, 5.2)
    _paint(drawing, path, colours, max(l for _, l, _ in lobes), veins, pose)
    return drawing, size


def _lobe_veins(pose, angle, length, width):
    radians = math.radians(angle)
    ux, uy = math.sin(radians), -math.cos(radians)
    place = lambda a, b: pose((ux * a - uy * b, uy * a + ux * b))
    veins = [([place(length * .95 * k / 8, 0) for k in range(9)], 2.8)]
    for i in range(4):
        t = .26 + .16 * i
        for side in (-1, 1):
            veins.append(([place(t * length, 0), place((t + .1) * length, side * width * .3),
                           place((t + .17) * length, side * width * .62 * (1 - t * .6))], 1.2))
    return veins


def _stem(drawing, line, colours, width):
    widths = [width * (1 - .45 * k / (len(line) - 1)) for k in range(len(line))]
    drawing.add(f'<path d="{tapered(line, widths)}" fill="{mix(colours[4], colours[1], .35)}"/>')


def _paint(drawing, path, colours, length, veins, pose, opacity=.98):
    """Body, mottling of light and shade, veins that let light through, and an outline."""
    base, body, edge, vein, shade = colours
    clip = drawing.clip(path)
    foot = pose((0, 0))
    fill = drawing.radial(foot, length, [(0, base, opacity), (.2, mix(base, body, .55), opacity),
                                         (.55, body, opacity), (1, edge, opacity)])
    drawing.add(f'<path d="{path}" fill="url(#{fill})"/>')
    drawing.add(f'<g clip-path="url(#{clip})">')
    soft = drawing.blur(8)
    for x, y, r, colour, strength in ((-38, -62, 26, base, .42), (34, -30, 20, shade, .32),
                                      (22, -82, 18, base, .3), (-30, -18, 18, shade, .26)):
        cx, cy = pose((x * length / 100, y * length / 100))
        drawing.add(f'<circle cx="{num(cx)}" cy="{num(cy)}" r="{num(r * length / 100)}" '
                    f'fill="{colour}" fill-opacity="{strength}" filter="url(#{soft})"/>')
    # One half lies a little in shade, as the leaf is folded along its middle vein.
    half = polygon([pose(p) for p in ((0, 10), (0, -130), (130, -130), (130, 40))])
    drawing.add(f'<path d="{half}" fill="{shade}" fill-opacity=".16"/>')
    for line, width in veins:
        widths = [width * (1 - .72 * k / (len(line) - 1)) for k in range(len(line))]
        drawing.add(f'<path d="{tapered(line, widths)}" fill="{vein}" fill-opacity=".62"/>')
    drawing.add(f'<path d="{path}" fill="none" stroke="{mix(base, "#ffffff", .35)}" '
                f'stroke-width="5" stroke-opacity=".3" filter="url(#{drawing.blur(1.6)})"/>')
    drawing.add("</g>")


def oval(pose, colours, longest, width, veins, teeth, seed, stalk=26, fullest=.45):
    """A simple leaf with feathered veins; teeth 0 gives a plain, slightly wavy edge."""
    random = Random(seed)

    def half(t):
        rise = t ** (math.log(.5) / math.log(fullest))
        return width * math.sin(math.pi * rise) ** .82 * (1 - .18 * t)

    count = (teeth or 14) * 2
    right, left = [], []
    for side, points in ((1, right), (-1, left)):
        for i in range(count + 1):
            t = i / count
            bite = 1 - (.11 if teeth and i % 2 == 0 else 0) * random.uniform(.7, 1.2)
            wave = 1 + (0 if teeth else .035 * math.sin(t * 26 + side))
            points.append(pose((side * half(t) * bite * wave, -100 * t)))
    outline = right + left[::-1]
    stem = [pose(p) for p in bezier((0, -2), (1, stalk * .4), (4, stalk * .7), (6, stalk), 8)]
    drawing, size = fitted(outline + stem, longest)
    lines = [([pose((0, -97 * k / 10)) for k in range(11)], 3.2)]
    for i in range(veins):
        t = .1 + .72 * i / veins
        for side in (-1, 1):
            end = min(.97, t + .2)
            lines.append(([pose((0, -100 * t)), pose((side * half(t + .08) * .5, -100 * (t + .08))),
                           pose((side * half(end) * .93, -100 * end))], 1.5))
    _stem(drawing, stem, colours, 4.6)
    _paint(drawing, polygon(outline), colours, 108, lines, pose)
    return drawing, size


def fan(pose, colours, longest, seed, spread=64, cleft=22, stalk=62):
    """A ginkgo leaf: a fan with a wavy rim, a cleft in the middle and veins that fork."""
    random = Random(seed)
    rim = []
    for i in range(61):
        t = i / 60 * 2 - 1
        angle = math.radians(spread * t)
        radius = 100 - 14 * abs(t) ** 3 + 2.4 * math.sin(t * 19) + random.uniform(-.9, .9)
        radius -= cleft * math.exp(-(t / .075) ** 2)
        rim.append((math.sin(angle) * radius, -math.cos(angle) * radius))
    right = bezier(rim[-1], (rim[-1][0] * .62, rim[-1][1] * .96), (10, -16), (2.4, 0), 12)
    left = [(-x, y) for x, y in bezier((-rim[0][0], rim[0][1]), (-rim[0][0] * .62, rim[0][1] * .96),
                                       (10, -16), (2.4, 0), 12)][::-1]
    outline = [pose(p) for p in left + rim + right]
    stem = [pose(p) for p in bezier((0, -2), (0, stalk * .4), (6, stalk * .7), (12, stalk), 10)]
    drawing, size = fitted(outline + stem, longest)
    veins = []
    for i in range(21):
        t = i / 20 * 2 - 1
        angle = math.radians(spread * .93 * t)
        reach = 90 - 12 * abs(t) ** 3 - cleft * math.exp(-(t / .09) ** 2)
        end = (math.sin(angle) * reach, -math.cos(angle) * reach)
        veins.append(([pose(p) for p in bezier((t * 2, -2), (end[0] * .2, end[1] * .36),
                                               (end[0] * .6, end[1] * .68), end, 8)], 1.5))
    _stem(drawing, stem, colours, 5)
    _paint(drawing, polygon(outline), colours, 100, veins, pose)
    return drawing, size


SLENDER = [(-126, 42, 12), (126, 42, 12), (-84, 76, 18), (84, 78, 18), (-42, 95, 20), (42, 93, 20),
           (0, 104, 21)]
BROAD = [(-108, 60, 22), (108, 60, 22), (-56, 92, 30), (56, 92, 30), (0, 104, 31)]


def sprites():
    return {
        "petal1": fan(Pose(angle=18, bend=5), GINKGO, 27, seed=3),
        "petal2": oval(Pose(angle=-34, bend=-10), BEECH, 27, width=31, veins=7, teeth=0, seed=4),
        "petal3": palmate(Pose(angle=-14, squeeze=.94), SLENDER, CRIMSON, 29, seed=8, teeth=6,
                          stalk=52),
        "petal4": oval(Pose(angle=28, bend=9), BIRCH, 25, width=37, veins=6, teeth=11, seed=6,
                       fullest=.36),
        "flower1": palmate(Pose(angle=8), SLENDER, CRIMSON, 48, seed=1, teeth=9, stalk=48),
        "flower2": palmate(Pose(angle=-18), BROAD, EMBER, 46, seed=2, teeth=0,
                           stalk=52),
        "flower3": palmate(Pose(angle=24, squeeze=.82, bend=6), SLENDER, GOLD, 43, seed=7,
                           teeth=9, stalk=46),
    }
