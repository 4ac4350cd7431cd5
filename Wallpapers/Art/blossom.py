"""Cherry blossom: four petals and three flowers, each returned as (drawing, size in points)."""

import math
from random import Random

from sprite import fitted
from svg import Drawing, bezier, mix, num, smooth, tapered


class Petal:
    """A petal with its base at (0, 0) and its notched tip near (0, -100), then bent and turned."""

    def __init__(self, width=44, notch=12, lean=0.0, bend=0.0, squeeze=1.0, angle=0.0, size=1.0):
        self._width, self._notch, self._lean = width, notch, lean
        self._bend, self._squeeze, self._size = bend, squeeze, size
        self._sin, self._cos = math.sin(math.radians(angle)), math.cos(math.radians(angle))

    def place(self, point):
        """A point of the flat, upright petal, where it lies after bending and turning."""
        x, y = point
        along = -y / 100
        x = x * self._squeeze + self._bend * along * along
        x, y = x * self._size, y * self._size
        return x * self._cos - y * self._sin, x * self._sin + y * self._cos

    def _half(self, side):
        """Control points of one half outline, base to notch."""
        w = self._width * side * (1 + self._lean * side)
        tip = 1 + 0.035 * self._lean * side
        return [((side * 2.5, 0), (w * .34, -9), (w * 1.0, -30), (w * 1.0, -60)),
                ((w * 1.0, -60), (w * 1.0, -83 * tip), (w * .66, -101 * tip), (w * .3, -101 * tip)),
                ((w * .3, -101 * tip), (w * .16, -101 * tip), (side * 2.2, -100 + self._notch * .55),
                 (0, -100 + self._notch))]

    def outline(self):
        """The closed outline as SVG path text, and points along it."""
        right = [[self.place(p) for p in c] for c in self._half(1)]
        left = [[self.place(p) for p in c][::-1] for c in self._half(-1)][::-1]
        curves = right + left
        text = f"M{_pair(curves[0][0])}"
        points = []
        for a, b, c, d in curves:
            text += f"C{_pair(b)} {_pair(c)} {_pair(d)}"
            points += bezier(a, b, c, d)
        return text + "Z", points

    def veins(self, count, reach=0.9):
        """Fine lines fanning out from the base, as lists of points with falling widths."""
        lines = []
        for i in range(count):
            spread = (i / (count - 1)) * 2 - 1
            end_x = spread * self._width * .8 * (1 + self._lean * (1 if spread > 0 else -1))
            end_y = -100 * reach * (1 - .22 * spread * spread)
            if abs(spread) < .12:
                end_y = -(100 - self._notch) * reach
            curve = bezier((spread * 2, -4), (spread * self._width * .3, -28),
                           (end_x * .95, end_y * .62), (end_x, end_y), 10)
            lines.append([self.place(p) for p in curve])
        return lines

    def line(self, *points):
        return [self.place(p) for p in points]


def _pair(point):
    return f"{num(point[0])},{num(point[1])}"


# Colours of a petal: at its base, in its body, towards its edge; veins; the shade of a fold.
BLUSH = ("#ef8fb4", "#fbc9dc", "#fff1f6", "#d9688f", "#e08aae")
ROSE = ("#e0658f", "#f49dbd", "#fdd6e4", "#c04472", "#cf5f8c")
SNOW = ("#f4a9c4", "#fde3ec", "#ffffff", "#e08cab", "#eab0c6")
DEEP = ("#cf4677", "#ec84aa", "#fbc2d5", "#a92f5f", "#b94273")


def paint(drawing, petal, colours, light=-35, opacity=.97, veins=9, vein_opacity=.42):
    """Body, light and shade, veins and a thin bright rim, in this order."""
    base, body, edge, vein, shade = colours
    path, _ = petal.outline()
    clip = drawing.clip(path)
    foot, (tip_x, tip_y) = petal.place((0, 0)), petal.place((0, -100))
    length = math.hypot(tip_x - foot[0], tip_y - foot[1])
    fill = drawing.radial(foot, length * 1.04, [
        (0, mix(base, "#a02050", .18), opacity), (.1, base, opacity), (.38, body, opacity),
        (.74, mix(body, edge, .75), opacity * .96), (.93, edge, opacity * .93),
        (1, edge, opacity * .86)])
    drawing.add(f'<path d="{path}" fill="url(#{fill})"/>')
    drawing.add(f'<g clip-path="url(#{clip})">')
    soft, softer = drawing.blur(5), drawing.blur(9)
    near = -1 if light < 0 else 1
    dark_side = petal.line((-near * petal._width * .3, 4), (-near * petal._width * .84, -34),
                           (-near * petal._width * 1.02, -66), (-near * petal._width * .7, -100))
    drawing.add(f'<path d="{smooth(dark_side)}" fill="none" stroke="{shade}" stroke-width="26" '
                f'stroke-opacity=".42" filter="url(#{softer})"/>')
    lit = petal.line((near * petal._width * .12, -26), (near * petal._width * .48, -58),
                     (near * petal._width * .42, -86))
    drawing.add(f'<path d="{smooth(lit)}" fill="none" stroke="#ffffff" stroke-width="17" '
                f'stroke-linecap="round" stroke-opacity=".55" filter="url(#{softer})"/>')
    crease = petal.line((0, 0), (0, -40), (0, -100 + petal._notch))
    drawing.add(f'<path d="{smooth(crease)}" fill="none" stroke="{shade}" stroke-width="7" '
                f'stroke-opacity=".34" filter="url(#{soft})"/>')
    lines = petal.veins(veins)
    for i, line in enumerate(lines):
        thick = 1.5 if i == veins // 2 else 1.1
        widths = [thick * (1 - .75 * k / (len(line) - 1)) for k in range(len(line))]
        drawing.add(f'<path d="{tapered(line, widths)}" fill="{vein}" '
                    f'fill-opacity="{num(vein_opacity)}"/>')
    # The rim lets light through: brighter than the body, and a thin darker line holds the shape.
    drawing.add(f'<path d="{path}" fill="none" stroke="#ffffff" stroke-width="9" '
                f'stroke-opacity=".5" filter="url(#{drawing.blur(2.2)})"/>')
    drawing.add(f'<path d="{path}" fill="none" stroke="{shade}" stroke-width="2.2" '
                f'stroke-opacity=".38"/>')
    drawing.add("</g>")


def single(petal, colours, longest, **style):
    _, points = petal.outline()
    drawing, size = fitted(points, longest)
    paint(drawing, petal, colours, **style)
    return drawing, size


def folded(petal, colours, longest, side, depth):
    """A petal one long edge of which has curled over and shows its paler back."""
    path, points = petal.outline()
    drawing, size = fitted(points, longest)
    paint(drawing, petal, colours, light=-side)
    w = petal._width
    inner = petal.line((side * w * .02, -2), (side * w * (.62 - depth), -34),
                       (side * w * (.66 - depth), -66), (side * w * .34, -101))
    outer = petal.line((side * w * .5, -104), (side * w * 1.1, -90), (side * w * 1.12, -50),
                       (side * w * .6, -16))
    flap = smooth(inner) + "L" + "L".join(_pair(p) for p in outer) + "Z"
    clip = drawing.clip(path)
    a, b = petal.place((side * w * (.6 - depth), -55)), petal.place((side * w * 1.02, -55))
    fill = drawing.linear(a, b, [(0, "#ffffff", .95), (.35, mix(colours[2], "#ffffff", .4), .95),
                                 (1, mix(colours[1], colours[4], .35), .95)])
    drawing.add(f'<g clip-path="url(#{clip})">')
    drawing.add(f'<path d="{smooth(inner)}" fill="none" stroke="{colours[3]}" stroke-width="11" '
                f'stroke-opacity=".55" filter="url(#{drawing.blur(4)})"/>')
    drawing.add(f'<path d="{flap}" fill="url(#{fill})"/>')
    for k in (.3, .6):
        rib = petal.line((side * w * .1, -8), (side * w * (.66 - depth + k * .4), -36),
                         (side * w * (.68 - depth + k * .4), -64), (side * w * (.4 + k * .2), -99))
        drawing.add(f'<path d="{smooth(rib)}" fill="none" stroke="{colours[3]}" '
                    f'stroke-width=".9" stroke-opacity=".35"/>')
    drawing.add(f'<path d="{path}" fill="none" stroke="{colours[4]}" stroke-width="2.2" '
                f'stroke-opacity=".4"/></g>')
    return drawing, size


def flower(colours, longest, seed, tilt=1.0, turn=0.0, width=47, openness=1.0):
    """Five overlapping petals and their stamens; tilt below 1 looks at it from the side."""
    random = Random(seed)
    petals = [Petal(width=width * random.uniform(.95, 1.06), notch=random.uniform(10, 15),
                    lean=random.uniform(-.08, .08), bend=random.uniform(-7, 7),
                    angle=turn + 72 * i + random.uniform(-4, 4),
                    size=openness * random.uniform(.95, 1.04)) for i in range(5)]
    outline = [(x, y * tilt) for p in petals for x, y in p.outline()[1]]
    drawing, size = fitted(outline, longest)
    if tilt != 1:
        drawing.add(f'<g transform="scale(1,{num(tilt)})">')
    order = [0, 2, 4, 1, 3]
    shadow = drawing.blur(4.5)
    lower = ""
    for place, i in enumerate(order):
        path, _ = petals[i].outline()
        if place > 1:
            # A petal that lies over others drops a faint shadow on them.
            drawing.add(f'<g clip-path="url(#{drawing.clip(lower)})"><path d="{path}" '
                        f'fill="{colours[3]}" fill-opacity=".5" filter="url(#{shadow})"/></g>')
        paint(drawing, petals[i], colours, light=random.choice((-1, 1)), veins=7,
              vein_opacity=.32)
        lower += path
    _heart(drawing, colours, random)
    if tilt != 1:
        drawing.add("</g>")
    return drawing, size


def _heart(drawing, colours, random):
    """The dark throat of a flower, with stamens around the pistil."""
    throat = drawing.radial((0, 0), 34, [(0, "#8f1f4c", .95), (.3, colours[3], .8),
                                         (.62, colours[0], .45), (1, colours[0], 0)])
    drawing.add(f'<circle r="34" fill="url(#{throat})"/>')
    count = 17
    stamens = []
    for i in range(count):
        angle = 2 * math.pi * (i + random.uniform(-.3, .3)) / count
        reach = random.choice((24, 33, 42)) + random.uniform(-4, 4)
        bend = random.uniform(-.16, .16)
        mid = (math.cos(angle + bend) * reach * .55, math.sin(angle + bend) * reach * .55)
        end = (math.cos(angle) * reach, math.sin(angle) * reach)
        line = bezier((0, 0), mid, mid, end, 8)
        widths = [2.5 - 1.1 * k / 8 for k in range(9)]
        drawing.add(f'<path d="{tapered(line, widths)}" fill="#fff2f2" fill-opacity=".92"/>')
        stamens.append((end, random.uniform(3.1, 4.1)))
    for (x, y), radius in stamens:
        drawing.add(f'<circle cx="{num(x)}" cy="{num(y + .8)}" r="{num(radius)}" '
                    f'fill="#b0642c"/>')
        drawing.add(f'<circle cx="{num(x - .3)}" cy="{num(y - .4)}" r="{num(radius * .82)}" '
                    f'fill="#ffd277"/>')
    drawing.add('<circle r="5.2" fill="#c7d46a"/><circle cx="-1" cy="-1.4" r="2.6" '
                'fill="#eef3a8"/>')


def sprites():
    return {
        "petal1": single(Petal(width=42, notch=15, lean=.05, bend=7, angle=16), BLUSH, 27),
        "petal2": single(Petal(width=35, notch=13, lean=-.1, bend=-17, angle=-30), ROSE, 25,
                         light=35),
        "petal3": folded(Petal(width=43, notch=14, lean=.04, bend=-6, angle=36), SNOW, 28,
                         side=1, depth=.06),
        "petal4": folded(Petal(width=31, notch=11, lean=.12, bend=20, angle=-10), DEEP, 23,
                         side=-1, depth=.16),
        "flower1": flower(BLUSH, 46, seed=11),
        "flower2": flower(SNOW, 44, seed=23, tilt=.76, turn=20),
        "flower3": flower(ROSE, 40, seed=5, turn=36, width=43),
    }
