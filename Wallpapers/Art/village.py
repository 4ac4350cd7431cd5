"""The background of the snow wallpaper: a village in a valley on a winter's night, under the moon.

The canvas is 1600 x 1280 units, cropped as the others: a tall phone shows about the middle 590 of
its width, a wide screen about the middle 900 of its height. Moon, church and road lie in both.
"""

import math
from random import Random

from svg import Drawing, Noise, bezier, mix, num, polygon, smooth, tapered

WIDTH, HEIGHT = 1600, 1280
MOON = (935, 338)
HAZE = "#6180b5"

SKY = [(0, "#070d28"), (.2, "#0d1940"), (.42, "#182f63"), (.62, "#2d4f88"), (.8, "#4a6da4"),
       (.93, "#7493c2"), (1, "#93aed2")]


def draw():
    drawing = Drawing(0, 0, WIDTH, HEIGHT)
    random = Random(1224)
    _sky(drawing, random)
    _mountains(drawing, random)
    _forest(drawing, random, FAR_WOOD)
    _mist(drawing, random, 742, 780, .26)
    _forest(drawing, random, NEAR_WOOD)
    _mist(drawing, random, 806, 832, .2)
    _village(drawing, random)
    _foreground(drawing, random)
    _shade(drawing)
    return drawing


def _rect(top, bottom, fill, extra=""):
    return (f'<rect x="-40" y="{num(top)}" width="{WIDTH + 80}" height="{num(bottom - top)}" '
            f'fill="{fill}"{extra}/>')


def _glow(drawing, centre, radius, colour, opacity, flat=1.0):
    """Light that fades outwards; drawn once for each size and reused."""
    x, y = centre
    fill = drawing.radial((0, 0), radius, [
        (0, colour, opacity), (.18, colour, opacity * .7), (.4, colour, opacity * .32),
        (.68, colour, opacity * .09), (1, colour, 0)])
    drawing.add(f'<circle r="{num(radius)}" fill="url(#{fill})" '
                f'transform="translate({num(x)},{num(y)}) scale(1,{num(flat)})"/>')


def _sky(drawing, random):
    fill = drawing.linear((0, 0), (0, 800), SKY)
    drawing.add(_rect(-40, 810, f"url(#{fill})"))
    for _ in range(210):
        x, y = random.uniform(0, WIDTH), random.random() ** 1.4 * 520
        if math.hypot(x - MOON[0], y - MOON[1]) < 120:
            continue
        radius = random.choice((.6, .7, .8, .8, 1.1, 1.6))
        drawing.add(f'<circle cx="{num(x)}" cy="{num(y)}" r="{num(radius)}" fill="#e6efff" '
                    f'fill-opacity="{num(random.uniform(.2, .75) * (1 - y / 640))}"/>')
    _clouds(drawing, random, ((20, 9, 120, 420, "#3d5c98", .2), (13, 10, 420, 640, "#8aa6d4", .2)))
    _moon(drawing)
    _clouds(drawing, random, ((15, 6, 380, 470, "#9fb6de", .2),))


def _moon(drawing):
    x, y = MOON
    for radius, colour, opacity in ((560, "#7ea6e6", .3), (230, "#b4cdf5", .32),
                                    (96, "#eef4ff", .6)):
        _glow(drawing, MOON, radius, colour, opacity)
    face = drawing.radial((x - 14, y - 14), 62, [(0, "#ffffff"), (.6, "#f3f6ff"), (1, "#cfdcf4")])
    drawing.add(f'<circle cx="{x}" cy="{y}" r="44" fill="url(#{face})" '
                f'filter="url(#{drawing.blur(.7)})"/>')
    drawing.add(f'<g filter="url(#{drawing.blur(4)})" fill="#9fb3da" fill-opacity=".26">')
    for dx, dy, rx, ry in ((-17, -5, 14, 17), (-4, -22, 12, 6), (17, -6, 8, 6), (9, 18, 17, 7)):
        drawing.add(f'<ellipse cx="{x + dx}" cy="{y + dy}" rx="{rx}" ry="{ry}"/>')
    drawing.add("</g>")


def _clouds(drawing, random, kinds):
    for sigma, count, low, high, colour, opacity in kinds:
        drawing.add(f'<g filter="url(#{drawing.blur((sigma * 2.4, sigma * .8))})">')
        for _ in range(count):
            x, y = random.uniform(-100, WIDTH + 100), random.uniform(low, high)
            for _ in range(4):
                cx, cy = x + random.gauss(0, 90), y + random.gauss(0, 9)
                rx, ry = random.uniform(70, 190), random.uniform(5, 14)
                drawing.add(f'<ellipse cx="{num(cx)}" cy="{num(cy)}" rx="{num(rx)}" ry="{num(ry)}" '
                            f'fill="{colour}" '
                            f'fill-opacity="{num(opacity * random.uniform(.5, 1))}"/>')
        drawing.add("</g>")


# Peaks from far to near: (x, y of the top, half width, how far the haze has taken it).
PEAKS = ((210, 505, 330, .62), (560, 470, 330, .6), (1130, 452, 360, .6), (1470, 500, 330, .62),
         (-20, 560, 300, .44), (400, 572, 260, .46), (770, 590, 270, .5), (1010, 600, 240, .46),
         (1310, 552, 280, .44), (1640, 580, 280, .42))
FOOT = 800


def _mountains(drawing, random):
    """Snowy peaks: one side in the moon's light, the other in blue shade, their feet in haze."""
    drawing.add(f'<g filter="url(#{drawing.blur(.9)})">')
    for x, top, half, haze in PEAKS:
        noise = Noise(random)
        left = _flank(noise, x, top, -half, 11)
        right = _flank(noise, x, top, half, 53)
        rib = _rib(random, x, top)
        lit = -1 if x > MOON[0] else 1
        for side, line in ((-1, left), (1, right)):
            colour = "#aabfe3" if side == lit else "#375389"
            fill = drawing.linear((0, top), (0, FOOT), [
                (0, mix(colour, HAZE, haze * .55)), (.5, mix(colour, HAZE, min(1, haze * 1.25))),
                (1, "#7390be")])
            drawing.add(f'<path d="{polygon(line + rib[::-1])}" fill="url(#{fill})"/>')
        _gullies(drawing, random, rib, half, lit, haze)
    drawing.add("</g>")
    veil = drawing.linear((0, 600), (0, FOOT), [(0, "#718dbd", 0), (1, "#7e9ac6", .75)])
    drawing.add(_rect(600, FOOT, f"url(#{veil})"))


def _flank(noise, x, top, reach, phase):
    """The outline from the peak down to its foot, rough as rock."""
    line = []
    for i in range(41):
        t = i / 40
        rough = noise.fractal(phase + t * 6, 5, .5) * 17 * math.sin(math.pi * min(1, t * 1.2 + .02))
        line.append((x + reach * t, top + (FOOT - top) * t ** 1.12 + rough))
    return line


def _rib(random, x, top):
    """The crest that comes towards the viewer, in zigzag."""
    line, at = [(x, top)], x
    for i in range(1, 13):
        at += random.uniform(-15, 15) + (6 if i % 2 else -6)
        line.append((at, top + (FOOT - top) * (i / 12) ** 1.05))
    return line


def _gullies(drawing, random, rib, half, lit, haze):
    """Rock that shows through the snow on both flanks, thinner towards the foot."""
    colour = mix("#39568e", HAZE, haze)
    for _ in range(60):
        i = random.randrange(0, 8)
        x, y = rib[i]
        side = random.choice((-1, 1))
        out = random.uniform(.02, .62) * half * (i + 1) / 9
        long = random.uniform(12, 54)
        start = (x + side * out, y + out * .8 + random.uniform(0, 20))
        line = [start, (start[0] + side * long * .32, start[1] + long * .5),
                (start[0] + side * long * .62, start[1] + long)]
        opacity = random.uniform(.18, .45) if side == lit else random.uniform(.1, .3)
        outline = tapered(line, [.6, random.uniform(1.4, 4.2), .4])
        drawing.add(f'<path d="{outline}" fill="{colour}" fill-opacity="{num(opacity)}"/>')


# A wooded slope: its line, the height of its trees, colours of its trees and snow, haze, spacing.
FAR_WOOD = (lambda x: 792 - 62 * (abs(x - 800) / 800) ** 1.3 - 9 * math.sin(x / 130), (15, 34),
            "#3d5c93", "#a9c0e2", .5, (3.5, 7.5))
NEAR_WOOD = (lambda x: 850 - 128 * (abs(x - 812) / 800) ** 1.45 - 8 * math.sin(x / 90 + 2),
             (30, 62), "#1f3a6c", "#b9cdec", .16, (7, 15))


def _forest(drawing, random, wood):
    ground, sizes, dark, snow, haze, gaps = wood
    tops = sorted(((x, ground(x)) for x in _strewn(random, gaps)), key=lambda p: p[1])
    line = [(x, ground(x)) for x in range(-40, WIDTH + 41, 10)]
    fill = drawing.linear((0, 700), (0, 900), [(0, mix("#7692c3", HAZE, haze)),
                                               (1, mix("#5d7bb1", HAZE, haze))])
    trees = "".join(_fir(random, x, y + random.uniform(0, 12), random.uniform(*sizes)
                         * (.62 + .6 * abs(x - 800) / 800), dark, snow, haze) for x, y in tops)
    drawing.add(f'<g filter="url(#{drawing.blur(.6)})">{trees}'
                f'<path d="{polygon(line + [(WIDTH + 40, 960), (-40, 960)])}" fill="url(#{fill})"/>'
                "</g>")


def _strewn(random, gaps):
    x = -30.0
    while x < WIDTH + 30:
        yield x
        x += random.uniform(*gaps)


def _fir(random, x, y, tall, dark, snow, haze):
    """A small fir as two shapes: the dark tree, and snow on the side of the moon."""
    lean = 1 if x < MOON[0] else -1
    left, right, cover = [], [], []
    for i in range(7):
        t = i / 6
        half = tall * (.04 + .24 * t) * random.uniform(.85, 1.15)
        left += [(x - half, y - tall * (1 - t)), (x - half * .62, y - tall * (1 - t))]
        right += [(x + half, y - tall * (1 - t)), (x + half * .62, y - tall * (1 - t))]
        cover += [(x + lean * half * .9, y - tall * (1 - t)),
                  (x + lean * half * .5, y - tall * (1.03 - t))]
    body = polygon([(x, y - tall * 1.08)] + right + [(x, y + 3)] + left[::-1])
    light = polygon([(x, y - tall * 1.08)] + cover + [(x + lean * tall * .05, y - tall * .1)])
    return (f'<path d="{body}" fill="{mix(dark, HAZE, haze)}"/>'
            f'<path d="{light}" fill="{mix(snow, HAZE, haze * .6)}" fill-opacity=".62"/>')


def _mist(drawing, random, low, high, opacity):
    drawing.add(f'<g filter="url(#{drawing.blur((26, 11))})">')
    for _ in range(18):
        x, y = random.uniform(-100, WIDTH + 100), random.uniform(low, high)
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y)}" rx="{num(random.uniform(110, 280))}" '
                    f'ry="{num(random.uniform(6, 17))}" fill="#a3badf" '
                    f'fill-opacity="{num(opacity * random.uniform(.4, 1))}"/>')
    drawing.add("</g>")


class House:
    """A house seen from a corner: its gable end, one long wall, and snow on the roof.

    `x`, `y`: the corner between the two walls; `facing` is 1 when the long wall is to the right.
    Lengths are in units of the scene.
    """

    def __init__(self, x, y, gable, length, wall, roof, facing=1, timber="#3b3350"):
        self.x, self.y, self.gable, self.length = x, y, gable, length
        self.wall, self.roof, self.facing, self.timber = wall, roof, facing, timber

    def front(self, u, v):
        """A point of the gable end: u from the corner outwards, v upwards."""
        return self.x - self.facing * u, self.y - v - .1 * u

    def side(self, u, v):
        return self.x + self.facing * u, self.y - v - .16 * u

    def ridge(self, u, lift=0.0):
        """A point of the roof's ridge, u behind the gable."""
        x, y = self.front(self.gable / 2, self.wall + self.roof + lift)
        return x + self.facing * u, y - .16 * u


def _quad(points, fill, opacity=1.0):
    return f'<path d="{polygon(points)}" fill="{fill}" fill-opacity="{num(opacity)}"/>'


def _draw_house(drawing, random, house, chimney=True, lit=.7):
    h = house
    wall = drawing.linear((0, h.y - h.wall - h.roof), (0, h.y), [
        (0, mix(h.timber, "#0f1738", .3)), (.6, h.timber), (1, mix(h.timber, "#8a5a4a", .35))])
    shaded = mix(h.timber, "#0c1433", .42)
    drawing.add(_quad([h.side(0, 0), h.side(h.length, 0), h.side(h.length, h.wall),
                       h.side(0, h.wall)], shaded))
    drawing.add(_quad([h.front(0, 0), h.front(h.gable, 0), h.front(h.gable, h.wall), h.ridge(0),
                       h.front(0, h.wall)], f"url(#{wall})"))
    if chimney:
        _chimney(drawing, h)
    _roof(drawing, random, h)
    _windows(drawing, random, h, lit)


def _roof(drawing, random, h):
    """Thick snow: its top in the moon's light, and a rounded, shaded rim along eaves and gable."""
    over, thick = h.gable * .1, max(2.2, h.gable * .085)
    reach = [-over, *(h.length * i / 6 for i in range(1, 6)), h.length + over]
    eave = [h.side(u, h.wall - over * .9) for u in reach]
    sag = [(x, y + random.uniform(-.16, .22) * thick) for x, y in eave]
    back, peak = h.ridge(h.length + over, thick * .6), h.ridge(-over, thick * .6)
    plane = polygon([peak, back] + sag[::-1])
    top = drawing.linear((0, peak[1]), (0, eave[0][1]), [(0, "#dbe7fb"), (.55, "#b3c7ea"),
                                                        (1, "#93abd9")])
    drawing.add(f'<path d="{plane}" fill="url(#{top})"/>')
    drawing.add(f'<path d="{smooth(sag)}" fill="none" stroke="#8ba4d4" stroke-linecap="round" '
                f'stroke-width="{num(thick * 1.15)}"/>')
    drawing.add(f'<path d="{smooth([(x, y - thick * .3) for x, y in sag])}" fill="none" '
                f'stroke="#d3e0f7" stroke-linecap="round" stroke-width="{num(thick * .5)}"/>')
    far = h.front(h.gable + over, h.wall - over * 1.2)
    near = h.front(-over, h.wall - over * 1.1)
    edge = [far, _between(far, peak, .5), peak, _between(peak, near, .5), near]
    drawing.add(f'<path d="{polygon(edge)[:-1]}" fill="none" stroke="#9db3de" '
                f'stroke-linecap="round" stroke-linejoin="round" '
                f'stroke-width="{num(thick * 1.3)}"/>')
    drawing.add(f'<path d="{polygon([(x, y - thick * .34) for x, y in edge])[:-1]}" fill="none" '
                f'stroke="#eaf1fd" stroke-linecap="round" stroke-linejoin="round" '
                f'stroke-width="{num(thick * .62)}"/>')


def _between(a, b, t):
    return a[0] + (b[0] - a[0]) * t, a[1] + (b[1] - a[1]) * t


def _chimney(drawing, h):
    x, y = h.ridge(h.length * .62)
    wide, tall = h.gable * .17, h.roof * .62
    drawing.add(_quad([(x - wide / 2, y + tall * .4), (x + wide / 2, y + tall * .4),
                       (x + wide / 2, y - tall), (x - wide / 2, y - tall)], "#2c2740"))
    drawing.add(f'<rect x="{num(x - wide * .68)}" y="{num(y - tall - wide * .42)}" '
                f'width="{num(wide * 1.36)}" height="{num(wide * .55)}" rx="{num(wide * .26)}" '
                f'fill="#d5e1f7"/>')
    _smoke(drawing, x, y - tall - wide * .3, h.gable)


def _smoke(drawing, x, y, size):
    points = [(x + size * (.1 * i + .16 * math.sin(i * 1.3 + x)), y - size * .34 * i)
              for i in range(8)]
    widths = [size * (.07 + .06 * i) for i in range(8)]
    fill = drawing.linear((0, y), (0, points[-1][1]), [(0, "#dfe8f8", .55), (.5, "#c3d2ec", .3),
                                                      (1, "#b3c5e6", 0)])
    drawing.add(f'<path d="{tapered(points, widths)}" fill="url(#{fill})" '
                f'filter="url(#{drawing.blur(size * .07)})"/>')


PANE = ("#fff1b8", "#ffc766", "#f28f38")


def _windows(drawing, random, h, lit):
    """Rows of windows in both walls; light falls from the lit ones."""
    size = h.gable * .17
    rows = [h.wall * .34] if h.wall < h.gable * .75 else [h.wall * .22, h.wall * .64]
    for v in rows:
        along = max(2, round(h.length / size / 2.7))
        for place, count, reach in ((h.front, 2, h.gable), (h.side, along, h.length)):
            for i in range(count):
                u = reach * (i + 1) / (count + 1)
                _window(drawing, place, u, v, size, random.random() < lit)
    if h.roof > 12:
        _window(drawing, h.front, h.gable / 2, h.wall + h.roof * .16, size * .85,
                random.random() < .8)


def _window(drawing, place, u, v, size, is_lit):
    half, tall = size * .42, size * 1.15
    frame = [place(u - half, v), place(u + half, v), place(u + half, v + tall),
             place(u - half, v + tall)]
    x, y = place(u, v + tall / 2)
    if not is_lit:
        drawing.add(_quad(frame, "#1a2145"))
        return
    fill = drawing.linear((0, y - tall / 2), (0, y + tall / 2), [(0, PANE[1]), (.5, PANE[0]),
                                                                (1, PANE[2])])
    _glow(drawing, (x, y), size * 3.4, "#ffac4d", .42)
    drawing.add(_quad(frame, f"url(#{fill})"))
    for a, b in ((place(u, v), place(u, v + tall)),
                 (place(u - half, v + tall * .55), place(u + half, v + tall * .55))):
        drawing.add(f'<path d="M{num(a[0])},{num(a[1])}L{num(b[0])},{num(b[1])}" stroke="#5a3427" '
                    f'stroke-width="{num(size * .1)}"/>')


def _draw_church(drawing, random, x, y, s):
    """A nave with a tower before it; the spire is the highest point of the village."""
    nave = House(x + 30 * s, y + 4 * s, 44 * s, 92 * s, 40 * s, 36 * s, 1, "#4d4a6c")
    _draw_house(drawing, random, nave, chimney=False, lit=0)
    for i in range(4):
        _arch(drawing, nave.side, (14 + 21 * i) * s, 9 * s, 6.5 * s, 22 * s)
    w, tall = 34 * s, 108 * s
    left, right = x - w / 2, x + w / 2
    wall = drawing.linear((left, 0), (right, 0), [(0, "#3c3d63"), (.45, "#5f6490"), (1, "#343559")])
    drawing.add(f'<rect x="{num(left)}" y="{num(y - tall)}" width="{num(w)}" '
                f'height="{num(tall + 3 * s)}" fill="url(#{wall})"/>')
    for part, across in ((.97, 1.12), (.6, 1.06)):
        drawing.add(f'<rect x="{num(x - w * across / 2)}" y="{num(y - tall * part)}" '
                    f'rx="{num(2 * s)}" width="{num(w * across)}" height="{num(4.4 * s)}" '
                    f'fill="#cfdcf5"/>')
    top, tip = y - tall, y - tall - 104 * s
    spire = drawing.linear((left, 0), (right, 0), [
        (0, "#8ea6d6"), (.45, "#c9d8f3"), (.62, "#e6eefc"), (.64, "#7188bd"), (1, "#5c73aa")])
    eave, waist = top + 2 * s, top - 20 * s
    drawing.add(f'<path d="M{num(left - 5 * s)},{num(eave)}Q{num(x - 8 * s)},{num(waist)} '
                f'{num(x)},{num(tip)}Q{num(x + 8 * s)},{num(waist)} {num(right + 5 * s)},'
                f'{num(eave)}Q{num(x)},{num(top + 8 * s)} {num(left - 5 * s)},{num(eave)}Z" '
                f'fill="url(#{spire})"/>')
    drawing.add(f'<path d="M{num(x)},{num(tip + 4 * s)}V{num(tip - 17 * s)}M{num(x - 5.5 * s)},'
                f'{num(tip - 10 * s)}H{num(x + 5.5 * s)}" stroke="#cdbb94" '
                f'stroke-width="{num(2 * s)}" stroke-linecap="round"/>')
    at = lambda u, v: (x + u, y - v)
    _arch(drawing, at, 0, 74 * s, 9 * s, 21 * s)
    _arch(drawing, at, 0, 42 * s, 6 * s, 13 * s)
    _arch(drawing, at, 0, 0, 11 * s, 24 * s)


def _arch(drawing, place, u, v, wide, tall):
    """A lit window, or a door, with a round head."""
    x, y = place(u, v + tall / 2)
    _glow(drawing, (x, y), tall * 1.7, "#ffb04f", .4)
    fill = drawing.linear((0, y - tall / 2), (0, y + tall / 2), [(0, PANE[0]), (.6, PANE[1]),
                                                                (1, PANE[2])])
    half, top = wide / 2, v + tall - wide / 2
    (lx, ly), (rx, ry) = place(u - half, v), place(u + half, v)
    (ax, ay), (bx, by) = place(u - half, top), place(u + half, top)
    drawing.add(f'<path d="M{num(lx)},{num(ly)}L{num(ax)},{num(ay)}A{num(half)},{num(half)} 0 0 1 '
                f'{num(bx)},{num(by)}L{num(rx)},{num(ry)}Z" fill="url(#{fill})"/>')


# Rows of houses from far to near; a house: x, y, scale, facing, how many of its windows are lit.
ROWS = (((596, 838, .46, -1, .7), (842, 838, .46, 1, .7), (930, 840, .52, -1, .8),
         (668, 842, .5, 1, .8), (520, 846, .5, 1, .8), (1012, 846, .5, 1, .7),
         (1096, 856, .52, -1, .8), (430, 862, .5, -1, .7)),
        ((622, 884, .68, -1, .8), (902, 884, .7, 1, .8), (1178, 886, .66, 1, .7),
         (470, 892, .7, 1, .7), (1052, 892, .72, -1, .8), (346, 902, .7, -1, .7)),
        ((1192, 944, .9, -1, .7), (558, 946, .95, 1, .8), (1008, 950, .98, -1, .9),
         (374, 960, .9, 1, .8)))
CHURCH = (752, 872, .92)
TIMBER = ("#43354e", "#4b3a4a", "#383655", "#513d49", "#3a3350")


def _village(drawing, random):
    """Rows of houses on the snow, the church among them, and the glow of all those windows."""
    far, middle, near = ROWS
    _field(drawing, random, 832, 10, 300, "#7a97ca", "#617fb7", 1.2)
    _glow(drawing, (790, 880), 520, "#ffb766", .34, flat=.26)
    _row(drawing, random, far)
    _yard(drawing, CHURCH[0], CHURCH[1] + 4, 120)
    _draw_church(drawing, random, *CHURCH)
    _row(drawing, random, middle)
    _field(drawing, random, 906, 9, 260, "#7d9ace", "#5573ae", 1.4)
    _row(drawing, random, near)


def _row(drawing, random, houses):
    for x, y, s, facing, lit in houses:
        _yard(drawing, x, y, 70 * s)
        house = House(x, y, random.uniform(50, 60) * s, random.uniform(66, 100) * s,
                      random.choice((30, 34, 46)) * s, random.uniform(32, 40) * s, facing,
                      random.choice(TIMBER))
        _draw_house(drawing, random, house, random.random() < .7, lit)
        for _ in range(random.choice((0, 1, 1, 2))):
            at = x + random.choice((-1, 1)) * random.uniform(70, 105) * s
            _big_fir(drawing, random, at, y + random.uniform(-2, 6) * s, random.uniform(44, 84) * s)


def _yard(drawing, x, y, reach):
    """Warm light on the snow round a house."""
    _glow(drawing, (x, y + reach * .06), reach * 1.5, "#ffb868", .5, flat=.24)


def _field(drawing, random, base, rise, wave, top, bottom, sigma):
    """A fold of snow over the whole width."""
    noise = Noise(random)
    line = [(x, base - rise * noise.fractal(x / wave, 3)) for x in range(-40, WIDTH + 41, 16)]
    path = smooth(line) + f"L{WIDTH + 40},{HEIGHT + 60}L-40,{HEIGHT + 60}Z"
    fill = drawing.linear((0, base - rise), (0, base + 170), [(0, top), (1, bottom)])
    drawing.add(f'<path d="{path}" fill="url(#{fill})" filter="url(#{drawing.blur(sigma)})"/>')


def _foreground(drawing, random):
    _bank(drawing, random)
    _road(drawing, random)
    _trees(drawing, random)
    _sparkle(drawing, random)


def _bank(drawing, random):
    """The near slope, lit from the village, with soft drifts in the moon's light."""
    _field(drawing, random, 992, 12, 380, "#7592c9", "#2b4883", 2.2)
    _glow(drawing, (800, 1000), 560, "#ffc283", .26, flat=.3)
    _field(drawing, random, 1120, 22, 460, "#5070b0", "#102250", 3)
    drawing.add(f'<g filter="url(#{drawing.blur((24, 5))})">')
    for _ in range(46):
        t = random.random()
        y = 1010 + t * 250
        colour = random.choice(("#b9ccf0", "#b9ccf0", "#223f7c"))
        drawing.add(f'<ellipse cx="{num(random.uniform(-60, WIDTH + 60))}" cy="{num(y)}" '
                    f'rx="{num(random.uniform(50, 150) * (.5 + t))}" ry="{num(2 + 9 * t)}" '
                    f'fill="{colour}" fill-opacity="{num(random.uniform(.1, .26))}"/>')
    drawing.add("</g>")


def _road_at(t):
    """The middle of the road, from the viewer (0) to the village (1), and its width there."""
    x = 800 + 110 * math.sin(t * 4.4 + .3) * (1 - t) ** .8 + 20 * t - 40 * (1 - t)
    return x, 1300 - 395 * t ** .62, 14 + 190 * (1 - t) ** 2.1


def _road(drawing, random):
    """A trodden road with the tracks of a sledge, and lamps along it."""
    places = [_road_at(i / 26) for i in range(27)]
    left = [(x - w / 2, y) for x, y, w in places]
    right = [(x + w / 2, y) for x, y, w in places]
    fill = drawing.linear((0, 1300), (0, 900), [(0, "#2f4b86", .55), (.5, "#7e97c8", .55),
                                               (.85, "#e8b98c", .5), (1, "#ffcf95", .3)])
    drawing.add(f'<path d="{smooth(left + right[::-1], True)}" fill="url(#{fill})" '
                f'filter="url(#{drawing.blur(3)})"/>')
    for side in (-.2, .2):
        track = [(x + side * w, y) for x, y, w in places]
        drawing.add(f'<path d="{tapered(track, [w * .035 for _, _, w in places])}" fill="#27427c" '
                    f'fill-opacity=".4" filter="url(#{drawing.blur(1.4)})"/>')
        rim = [(x + side * w + .03 * w, y + 1) for x, y, w in places]
        drawing.add(f'<path d="{tapered(rim, [w * .016 for _, _, w in places])}" fill="#dfe9fb" '
                    f'fill-opacity=".4" filter="url(#{drawing.blur(1)})"/>')
    for t, side in ((.86, 1), (.7, -1), (.52, 1), (.34, -1)):
        x, y, w = _road_at(t)
        _lamp(drawing, x + side * (w * .62 + 5), y, 15 + 96 * (1 - t) ** 1.15)


def _lamp(drawing, x, y, tall):
    wide = tall * .05
    _glow(drawing, (x, y), tall * 1.5, "#ffb45e", .6, flat=.24)
    drawing.add(_quad([(x - wide * .7, y), (x + wide * .7, y), (x + wide * .45, y - tall),
                       (x - wide * .45, y - tall)], "#1c2547"))
    head = y - tall * 1.08
    _glow(drawing, (x, head), tall * 1.1, "#ffb354", .5)
    _glow(drawing, (x, head), tall * .34, "#ffe2a0", .9)
    drawing.add(f'<rect x="{num(x - wide * 1.5)}" y="{num(head - wide * 2)}" '
                f'width="{num(wide * 3)}" height="{num(wide * 3.8)}" rx="{num(wide * .7)}" '
                f'fill="#fff0bd"/>')
    drawing.add(f'<path d="M{num(x - wide * 2.6)},{num(head - wide * 1.7)}'
                f'Q{num(x)},{num(head - wide * 5.4)} '
                f'{num(x + wide * 2.6)},{num(head - wide * 1.7)}Z" fill="#dbe6fa"/>')


# Large firs from far to near: x, y of the foot, height, blur.
FIRS = ((500, 1040, 150, .8), (1118, 1034, 165, .8), (404, 1072, 235, .9), (1240, 1066, 260, .9),
        (282, 1112, 330, 1), (1352, 1108, 350, 1), (1190, 1128, 190, 1), (458, 1130, 170, 1),
        (120, 1192, 520, 1.4), (1500, 1188, 560, 1.4), (330, 1222, 300, 1.5),
        (1330, 1226, 330, 1.5), (-10, 1290, 640, 2), (1625, 1296, 700, 2))


def _trees(drawing, random):
    for x, y, tall, sigma in FIRS:
        shadow = drawing.radial((0, 0), tall * .34, [(0, "#132650", .6), (1, "#132650", 0)])
        drawing.add(f'<circle r="{num(tall * .34)}" fill="url(#{shadow})" '
                    f'transform="translate({num(x)},{num(y)}) scale(1,.18)"/>')
        drawing.add(f'<g filter="url(#{drawing.blur(sigma)})">')
        _big_fir(drawing, random, x, y, tall)
        drawing.add("</g>")


def _big_fir(drawing, random, x, y, tall):
    """Tiers of drooping boughs from the foot upwards, each with snow along its back."""
    light = 1 if x < MOON[0] else -1
    drawing.add(_quad([(x - tall * .022, y), (x + tall * .022, y), (x + tall * .008, y - tall * .8),
                       (x, y - tall * .97), (x - tall * .008, y - tall * .8)], "#142045"))
    tiers = 9 + int(tall / 70)
    for i in range(tiers):
        t = i / (tiers - 1)
        half = tall * (.3 * (1 - t) ** 1.08 + .008) * random.uniform(.93, 1.05)
        drop = tall * (.082 * (1 - t) + .014)
        dark = mix("#0a1535", "#1a3262", .15 + .5 * t)
        _tier(drawing, random, (x, y - tall * (.1 + .84 * t)), half, drop, light, dark)


def _tier(drawing, random, centre, half, drop, light, dark):
    """Boughs that hang outwards, those at the back first; snow lies on each."""
    x, y = centre
    skirt = [(x, y - drop * 1.5), (x + half * .86, y + drop * .2), (x, y + drop * .5),
             (x - half * .86, y + drop * .2)]
    drawing.add(f'<path d="{polygon(skirt)}" fill="{dark}"/>')
    count = 5 if half < 9 else 7 if half < 30 else 9 if half < 80 else 13
    spread = sorted((2 * (i + random.uniform(.15, .85)) / count - 1 for i in range(count)),
                    key=lambda u: -abs(u))
    for u in spread:
        reach, hang = half * random.uniform(.88, 1.1), drop * random.uniform(.8, 1.2)
        start, foot = (x + u * reach * .08, y - drop * .8), y + hang * (.6 - .28 * abs(u))
        bough = bezier(start, (x + u * reach * .45, y - drop * .62),
                       (x + u * reach * .8, foot - hang * .1), (x + u * reach * 1.04, foot), 8)
        thick = drop * (.6 if count < 9 else .5)
        drawing.add(f'<path d="{tapered(bough, [thick * w for w in BOUGH])}" fill="{dark}"/>')
        lit = .42 + .42 * u * light + .1 * (1 - abs(u))
        first = random.choice((1, 2, 3))
        cover = [(px, py - thick * .26) for px, py in bough[first:]]
        wide = [thick * w * random.uniform(.36, .66) for w in BOUGH[first:]]
        wide[0] *= .3
        drawing.add(f'<path d="{tapered(cover, wide)}" fill="{mix("#4765a6", "#dbe6fa", lit)}"/>')


BOUGH = (.4, .7, .9, 1, 1.05, 1, .85, .5, .08)


def _sparkle(drawing, random):
    """Grains of ice that catch the light."""
    for _ in range(150):
        t = random.random() ** .8
        x, y = random.uniform(0, WIDTH), 1000 + 270 * t
        warm = math.exp(-((x - 800) / 260) ** 2) * (1 - t)
        drawing.add(f'<circle cx="{num(x)}" cy="{num(y)}" r="{num(random.uniform(.5, 1.2))}" '
                    f'fill="{mix("#e9f1ff", "#ffe3b5", warm)}" '
                    f'fill-opacity="{num(random.uniform(.25, .8))}"/>')


def _shade(drawing):
    """Darker towards the corners, so that the middle glows and labels stay readable."""
    fill = drawing.radial((800, 760), 1120, [(0, "#040a20", 0), (.5, "#040a20", 0),
                                             (1, "#040a20", .6)])
    drawing.add(_rect(-40, HEIGHT + 40, f"url(#{fill})"))
