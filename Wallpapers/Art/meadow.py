"""The background of the firefly wallpaper: a summer meadow with a brook, after the sun has set.

The canvas is 1600 x 1280 units, cropped as the others. The last light, the brook's bend and the
evening star lie in the middle; the oak stands at the side of a wide picture. It is dark on purpose:
the wallpaper's own lights fly in front of it.
"""

import math
from random import Random

from svg import Drawing, Noise, mix, num, polygon, smooth, tapered

WIDTH, HEIGHT = 1600, 1280
GLOW = (690, 716)  # where the sun has gone down
HORIZON = 722

SKY = [(0, "#050c1c"), (.2, "#081a2e"), (.42, "#0e3241"), (.6, "#1d5153"), (.74, "#3f7259"),
       (.86, "#86915a"), (.95, "#cfa858"), (1, "#e9b765")]


def draw():
    drawing = Drawing(0, 0, WIDTH, HEIGHT)
    random = Random(620)
    _sky(drawing, random)
    _hills(drawing, random)
    _woods(drawing, random)
    _mist(drawing, random, 716, 742, "#f0cd86", .24)
    _ground(drawing, random, 0)
    _ground(drawing, random, 1)
    _oak(drawing, random)
    _ground(drawing, random, 2)
    _brook(drawing, random)
    _flowers(drawing, random, 2)
    _ground(drawing, random, 3)
    _flowers(drawing, random, 3)
    _mist(drawing, random, 850, 905, "#9fb583", .11)
    _ground(drawing, random, 4)
    _umbels(drawing, random)
    _ground(drawing, random, 5)
    _shade(drawing)
    return drawing


def _rect(top, bottom, fill):
    return (f'<rect x="-40" y="{num(top)}" width="{WIDTH + 80}" height="{num(bottom - top)}" '
            f'fill="{fill}"/>')


def _glow(drawing, centre, radius, colour, opacity, flat=1.0):
    x, y = centre
    fill = drawing.radial((0, 0), radius, [
        (0, colour, opacity), (.2, colour, opacity * .72), (.45, colour, opacity * .3),
        (.72, colour, opacity * .08), (1, colour, 0)])
    drawing.add(f'<circle r="{num(radius)}" fill="url(#{fill})" '
                f'transform="translate({num(x)},{num(y)}) scale(1,{num(flat)})"/>')


def _near_glow(x, reach=420):
    return math.exp(-((x - GLOW[0]) / reach) ** 2)


def _sky(drawing, random):
    fill = drawing.linear((0, 0), (0, HORIZON + 20), SKY)
    drawing.add(_rect(-40, HORIZON + 30, f"url(#{fill})"))
    for _ in range(150):
        x, y = random.uniform(0, WIDTH), random.random() ** 1.5 * 430
        radius = random.choice((.6, .7, .8, 1.2))
        opacity = random.uniform(.15, .6) * (1 - y / 480)
        drawing.add(f'<circle cx="{num(x)}" cy="{num(y)}" r="{num(radius)}" fill="#e2f2ee" '
                    f'fill-opacity="{num(opacity)}"/>')
    _glow(drawing, GLOW, 760, "#ffc367", .6, flat=.42)
    _glow(drawing, GLOW, 300, "#ffe2a0", .5, flat=.42)
    star = (842, 300)
    _glow(drawing, star, 34, "#dff5ea", .45)
    drawing.add(f'<circle cx="{star[0]}" cy="{star[1]}" r="2.6" fill="#fbfff5"/>')
    _clouds(drawing, random)


def _clouds(drawing, random):
    for sigma, count, low, high, colour, opacity in (
            (16, 7, 560, 660, "#f3b56a", .34), (10, 7, 600, 690, "#ffdf9e", .3),
            (20, 7, 330, 540, "#2f6a66", .3), (9, 6, 470, 620, "#d08b62", .22)):
        drawing.add(f'<g filter="url(#{drawing.blur((sigma * 2.6, sigma * .55))})">')
        for _ in range(count):
            x, y = random.gauss(GLOW[0], 480), random.uniform(low, high)
            for _ in range(3):
                cx, cy = x + random.gauss(0, 80), y + random.gauss(0, 6)
                rx, ry = random.uniform(80, 210), random.uniform(3, 9)
                drawing.add(f'<ellipse cx="{num(cx)}" cy="{num(cy)}" rx="{num(rx)}" ry="{num(ry)}" '
                            f'fill="{colour}" '
                            f'fill-opacity="{num(opacity * random.uniform(.4, 1))}"/>')
        drawing.add("</g>")


def _hills(drawing, random):
    for base, height, wave, colour, sigma in ((712, 92, 330, "#7d8d60", 1.6),
                                              (722, 56, 230, "#4d7159", 1.2)):
        noise = Noise(random)
        line = [(x, base - height * (.5 + .5 * noise.fractal(x / wave, 4, .42)))
                for x in range(-40, WIDTH + 41, 10)]
        fill = drawing.linear((0, 0), (WIDTH, 0), [
            (i / 8, mix(colour, "#e2b366", .55 * _near_glow(WIDTH * i / 8))) for i in range(9)])
        path = polygon(line + [(WIDTH + 40, 790), (-40, 790)])
        drawing.add(f'<path d="{path}" fill="url(#{fill})" filter="url(#{drawing.blur(sigma)})"/>')


def _dots(points):
    """Circles (x, y, radius) as one path."""
    return "".join(f"M{num(x - r)},{num(y)}a{num(r)},{num(r)} 0 1 0 {num(2 * r)},0"
                   f"a{num(r)},{num(r)} 0 1 0 {num(-2 * r)},0" for x, y, r in points)


def _woods(drawing, random):
    """Two rows of trees along the horizon, paler where the light stands behind them."""
    for low, high, gap, colour, glow, sigma in ((14, 34, 15, "#35594e", .5, 1.1),
                                                (22, 62, 34, "#1b3c3b", .26, .8)):
        drawing.add(f'<g filter="url(#{drawing.blur(sigma)})">')
        x = -60.0
        while x < WIDTH + 60:
            away = min(1.0, abs(x - GLOW[0]) / 700)
            size = random.uniform(low, high) * (.55 + .75 * away)
            tone = mix(colour, "#d9a656", glow * _near_glow(x, 300))
            puffs = [(x + random.gauss(0, size * .42), HORIZON + 10 - size * random.uniform(.25, 1),
                      size * random.uniform(.16, .34)) for _ in range(15)]
            puffs += [(x + size * (i - 1.5) * .3, HORIZON + 6 - size * .16, size * .26)
                      for i in range(4)]
            edge = [(px + pr * math.cos(angle), py - pr * abs(math.sin(angle)),
                     pr * random.uniform(.08, .3)) for px, py, pr in puffs
                    for angle in (random.uniform(0, 6.3) for _ in range(12))]
            drawing.add(f'<path d="{_dots(puffs + edge)}" fill="{tone}"/>')
            x += gap * random.uniform(.45, 1.5)
        drawing.add(_rect(HORIZON - 7, HORIZON + 40, mix(colour, "#d9a656", glow * .3)))
        drawing.add("</g>")


def _mist(drawing, random, low, high, colour, opacity):
    drawing.add(f'<g filter="url(#{drawing.blur((30, 9))})">')
    for _ in range(20):
        x, y = random.uniform(-100, WIDTH + 100), random.uniform(low, high)
        light = .35 + .65 * _near_glow(x, 520)
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y)}" rx="{num(random.uniform(120, 300))}" '
                    f'ry="{num(random.uniform(6, 15))}" fill="{colour}" '
                    f'fill-opacity="{num(opacity * light * random.uniform(.5, 1))}"/>')
    drawing.add("</g>")


# Folds of the meadow from far to near: y of the edge, height of the grass, number of blades, colour
# of the edge and of the foot, blur.
FOLDS = ((738, 9, 3600, "#46694c", "#2f5a48", 0), (786, 16, 3600, "#31584a", "#1f4a40", 0),
         (850, 27, 3000, "#214a41", "#143834", 0), (946, 46, 1900, "#153a36", "#0b282a", 0),
         (1068, 88, 1000, "#0c292a", "#06191d", .8), (1226, 170, 420, "#06171c", "#030c12", 1.6))


def _edge(layer, x):
    """The edge of a fold: nearer ones rise to the sides, so that the middle stays open."""
    y, tall = FOLDS[layer][:2]
    bend = math.sin(x / (170 + 60 * layer) + 2.1 * layer) * (4 + 2.4 * layer)
    return y + bend - tall * (.3, .4, .5, .8, 1.1, .9)[layer] * (abs(x - 800) / 800) ** 2


def _ground(drawing, random, layer):
    y, tall, count, top, foot, sigma = FOLDS[layer]
    line = [(x, _edge(layer, x)) for x in range(-60, WIDTH + 61, 16)]
    fill = drawing.linear((0, y - tall), (0, y + 150), [(0, top), (1, foot)])
    drawing.add(f'<path d="{smooth(line)}L{WIDTH + 60},1360L-60,1360Z" fill="url(#{fill})" '
                f'filter="url(#{drawing.blur(1 + .2 * tall)})"/>')
    drawing.add(f'<g filter="url(#{drawing.blur(sigma)})">' if sigma else "<g>")
    if layer < 4:
        _glow(drawing, (GLOW[0] + 20, y + 6), 520, "#ffc56a", (.42, .3, .17, .08)[layer], flat=.1)
    _blades(drawing, random, layer)
    drawing.add("</g>")


def _blades(drawing, random, layer):
    """Grass, the farthest rows first; blades of one row and one tone are one path."""
    y, tall, count, top, foot, _ = FOLDS[layer]
    deep = (FOLDS[layer + 1][0] - y if layer < 5 else 60) * 1.05
    rows = {}
    for _ in range(count):
        t = random.choice((0, 1)) * random.random() ** 1.2
        x = random.uniform(-30, WIDTH + 30)
        light = round(3 * _near_glow(x, 330) * random.uniform(.2, 1) * (1 - t * .7))
        rows.setdefault((int(t * 4), random.randrange(3), light), []).append(
            _blade(random, x, _edge(layer, x) + t * deep + tall * (.4 if layer < 4 else 1.1),
                   tall * (random.uniform(.6, 1.4) + (0 if layer < 4 else .6)) * (.8 + .4 * t)))
    for (row, tone, light), blades in sorted(rows.items()):
        colour = mix(top, foot, row / 4 + .1)
        colour = mix(colour, ("#000608", "#4d7a52", "#86a05c")[tone], (.3, .14, .12)[tone])
        colour = mix(colour, "#e0b25c", light * (.2, .16, .11, .06, .03, 0)[layer])
        drawing.add(f'<path d="{"".join(blades)}" fill="{colour}"/>')


def _blade(random, x, y, tall):
    lean, wide = random.gauss(0, .24) * tall, max(.5, tall * .028)
    mx, my, tx, ty = x + lean * .22, y - tall * .62, x + lean, y - tall
    return (f"M{num(x)},{num(y)}Q{num(mx - 1.8 * wide)},{num(my)} {num(tx)},{num(ty)}"
            f"Q{num(mx + 1.8 * wide)},{num(my)} {num(x)},{num(y)}Z")


def _brook_at(t):
    """The middle of the brook from the horizon (0) towards the viewer (1), and its width."""
    x = 700 + 92 * math.sin(t * 6.3) * (.18 + t) + 60 * t
    return x, 741 + 222 * t ** 1.7, 4 + 66 * t ** 1.8


def _brook(drawing, random):
    """Still water that holds the last light."""
    places = [_brook_at(i / 30) for i in range(31)]
    shape = [(x - w, y) for x, y, w in places] + [(x + w * .9, y) for x, y, w in places[::-1]]
    fill = drawing.linear((0, 740), (0, 950), [(0, "#ffe1a2"), (.22, "#e6bd74"), (.5, "#8a9a70"),
                                              (.75, "#3d6f68"), (1, "#17424a")])
    path = smooth(shape, True)
    drawing.add(f'<path d="{path}" fill="#0e2b2a" fill-opacity=".55" '
                f'transform="translate(0,2.5)" filter="url(#{drawing.blur(2)})"/>')
    drawing.add(f'<path d="{path}" fill="url(#{fill})" filter="url(#{drawing.blur(.7)})"/>')
    drawing.add(f'<g filter="url(#{drawing.blur((1.4, .4))})">')
    for _ in range(54):
        x, y, w = _brook_at(random.random() ** .8)
        drawing.add(f'<ellipse cx="{num(x + random.uniform(-.6, .6) * w)}" cy="{num(y)}" '
                    f'rx="{num(w * random.uniform(.1, .34))}" ry="{num(.4 + w * .012)}" '
                    f'fill="{random.choice(("#ffe9b4", "#1b4749"))}" fill-opacity=".36"/>')
    drawing.add("</g>")
    for side in (-1, 1):
        for tone in ("#1c443c", "#12332f", "#3f6647"):
            blades = []
            for _ in range(190):
                t = random.random() ** .6
                x, y, w = _brook_at(t)
                blades.append(_blade(random, x + side * w * random.uniform(.86, 1.12),
                                     y + 2 + 8 * t, (4 + 30 * t) * random.uniform(.5, 1.1)))
            drawing.add(f'<path d="{"".join(blades)}" fill="{tone}"/>')


def _oak(drawing, random):
    """An old tree at the side, dark before the sky, its crown open enough to see through."""
    x, y, tall = 1228, 858, 440
    limbs, ends = [], []
    _grow(random, limbs, ends, (x, y), -math.pi / 2 - .05, tall * .3, 40, 5)
    drawing.add(f'<g filter="url(#{drawing.blur(.6)})">')
    for points, widths in limbs:
        drawing.add(f'<path d="{tapered(points, widths)}" fill="#09191d"/>')
    for size, count, spread, colours in (((8, 15), 5, 12, ("#0a1d20", "#0c2324")),
                                         ((1.8, 4.6), 52, 16, ("#0b2022", "#0f2a29")),
                                         ((1.1, 2.6), 22, 15, ("#16342f", "#25473a"))):
        for colour in colours:
            dots = []
            for ex, ey in ends:
                lit = 1 if size[0] > 1.5 else _lit_side(ex, ey, x, y - tall * .6)
                for _ in range(round(count * lit)):
                    angle = random.uniform(0, 6.3)
                    far = spread * (random.random() + random.random())
                    dots.append((ex + math.cos(angle) * far, ey + math.sin(angle) * far * .75,
                                 random.uniform(*size)))
            drawing.add(f'<path d="{_dots(dots)}" fill="{colour}"/>')
    drawing.add("</g>")


def _lit_side(ex, ey, x, y):
    """How much of the last light reaches a part of the crown: 0 to 1, most to the lower left."""
    return max(0.0, min(1.0, .1 + (x - ex) / 300 + (ey - y) / 300))


def _grow(random, limbs, ends, start, angle, length, width, depth):
    points, widths = [start], [width]
    x, y = start
    for i in range(1, 6):
        angle += random.gauss(0, .09) - (angle + math.pi / 2) * .03
        x, y = x + math.cos(angle) * length / 5, y + math.sin(angle) * length / 5
        points.append((x, y))
        widths.append(width * (1 - .08 * i))
    limbs.append((points, widths))
    if depth <= 2:
        ends.append((x, y))
    if depth == 0:
        return
    count = random.choice((2, 3, 3))
    for i in range(count):
        turn = (i - (count - 1) / 2) * random.uniform(.62, .86) + random.gauss(0, .1)
        _grow(random, limbs, ends, (x, y), angle + turn, length * random.uniform(.62, .82),
              width * .58, depth - 1)


def _flowers(drawing, random, layer):
    """Daisies, buttercups and knapweed, only just seen in this light."""
    y, tall, *_ = FOLDS[layer]
    deep = FOLDS[layer + 1][0] - y
    drawing.add(f'<g filter="url(#{drawing.blur(.6)})">')
    for cx, kind in ((random.uniform(-20, WIDTH + 20), random.randrange(3)) for _ in range(34)):
        colour = ("#c9d6c0", "#b79a4a", "#8d6a96")[kind]
        for _ in range(random.randrange(3, 9)):
            x = cx + random.gauss(0, 34)
            t = random.random()
            at = _edge(layer, x) + t * deep * .8 - tall * random.uniform(.3, .8)
            size = tall * random.uniform(.045, .085)
            tone = mix("#1a3b3a", colour, .5 + .3 * _near_glow(x))
            drawing.add(f'<ellipse cx="{num(x)}" cy="{num(at)}" rx="{num(size)}" '
                        f'ry="{num(size * .7)}" fill="{tone}" '
                        f'fill-opacity="{num(random.uniform(.4, .85))}"/>')
    drawing.add("</g>")


def _umbels(drawing, random):
    """Tall flowers in the foreground at both sides, with flat heads of small blossoms."""
    drawing.add(f'<g filter="url(#{drawing.blur(1)})">')
    for x, foot, tall in ((250, 1270, 330), (330, 1280, 240), (120, 1280, 400), 
                          (1270, 1280, 300), (1356, 1270, 400), (1490, 1290, 330), (30, 1290, 300),
                          (1590, 1290, 420)):
        _umbel(drawing, random, x, foot, tall)
    drawing.add("</g>")


def _umbel(drawing, random, x, foot, tall):
    lean = random.gauss(0, .09) * tall
    top = (x + lean, foot - tall)
    stalk = [(x, foot), (x + lean * .3, foot - tall * .5), top]
    drawing.add(f'<path d="{tapered(stalk, [4.5, 3.4, 2.2])}" fill="#2a4f43"/>')
    wide = tall * random.uniform(.12, .17)
    heads = [(top[0] + u * wide, top[1] - wide * (.5 - .2 * u * u) + v * wide * .1, v)
             for v in (-1, 0, 1) for u in (i / 8 + random.gauss(0, .05) for i in range(-8, 9))
             if random.random() < .8]
    for hx, hy, _ in heads[::2]:
        ray = [top, ((top[0] + hx) / 2, (top[1] + hy) / 2 + wide * .09), (hx, hy)]
        drawing.add(f'<path d="{tapered(ray, [1.7, 1.2, .8])}" fill="#25493e"/>')
    for hx, hy, row in heads:
        dots = [(hx + random.gauss(0, wide * .045), hy + random.gauss(0, wide * .022),
                 wide * random.uniform(.016, .04)) for _ in range(11)]
        colour = mix(("#7b9584", "#5f7d6e", "#3a5a50")[row + 1], "#cfc797",
                     .35 * _near_glow(hx, 600) + random.uniform(0, .12))
        drawing.add(f'<path d="{_dots(dots)}" fill="{colour}" fill-opacity=".85"/>')


def _shade(drawing):
    """Darker towards the corners, so that the middle glows and labels stay readable."""
    fill = drawing.radial((780, 720), 1120, [(0, "#02070d", 0), (.45, "#02070d", 0),
                                             (1, "#02070d", .62)])
    drawing.add(_rect(-40, HEIGHT + 40, f"url(#{fill})"))
