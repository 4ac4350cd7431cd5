"""The background of the maple wallpaper: a misty autumn wood with the sun low behind the trunks.

The same canvas and crops as the dusk background: 1600 x 1280 units, the sun near the middle, the
thick trunks and the branches at the sides.
"""

import math
from random import Random

from svg import Drawing, Noise, mix, num, polygon, smooth, tapered

WIDTH, HEIGHT = 1600, 1280
SUN = (770, 560)
GROUND = 900


def draw():
    drawing = Drawing(0, 0, WIDTH, HEIGHT)
    random = Random(77)
    _air(drawing)
    leaf = _leaf_shapes(drawing)
    _far_crowns(drawing, random)
    _trunks(drawing, random, 44, (5, 11), "#b3672f", GROUND + 34, 4.5, .7, keep_clear=44)
    _masses(drawing, random, 60, 26, TONES[0], .34)
    _haze(drawing, random, GROUND - 60, "#f7b265", .3, 40)
    _swell(drawing, random, 0)
    _trunks(drawing, random, 22, (11, 21), "#7d3f25", GROUND + 150, 2.6, 1, keep_clear=110)
    _masses(drawing, random, 46, 20, TONES[1], .42)
    _canopy(drawing, random, leaf, (-10, 330), 620, 10.5, (0, 1), 3, .6)
    _rays(drawing, random)
    _haze(drawing, random, GROUND + 16, "#ffb062", .16, 40)
    _swell(drawing, random, 1)
    _trunks(drawing, random, 9, (26, 42), "#4a2119", GROUND + 300, 1.8, 1, keep_clear=300)
    _masses(drawing, random, 34, 16, TONES[2], .6)
    _canopy(drawing, random, leaf, (-30, 230), 420, 15, (1, 2), 2.2, .78)
    _near_trunks(drawing, random)
    _swell(drawing, random, 2)
    _bokeh(drawing, random)
    _near_leaves(drawing, random, leaf)
    _shade(drawing)
    return drawing


def _rect(fill, extra=""):
    return f'<rect x="-10" y="-10" width="{WIDTH + 20}" height="{HEIGHT + 20}" fill="{fill}"{extra}/>'


def _air(drawing):
    """Warm light that fades from the sun outwards into brown dusk."""
    fill = drawing.linear((0, 0), (0, HEIGHT), [
        (0, "#26121c"), (.2, "#481f20"), (.42, "#874026"), (.56, "#a95c2e"), (.68, "#8a4a28"),
        (.8, "#5a2d20"), (1, "#23100f")])
    drawing.add(_rect(f"url(#{fill})"))
    x, y = SUN
    for radius, colour, strength, flat in ((820, "#ffa550", .42, .8), (430, "#ffc877", .5, .95),
                                           (210, "#fff0c0", .7, 1), (74, "#fffbe8", 1, 1)):
        glow = drawing.radial((0, 0), radius, [
            (0, colour, strength), (.25, colour, strength * .68), (.55, colour, strength * .24),
            (.8, colour, strength * .06), (1, colour, 0)])
        drawing.add(f'<circle r="{radius}" fill="url(#{glow})" '
                    f'transform="translate({x},{y}) scale(1,{flat})"/>')


def _lit(colour, x, y, strength=.75):
    """A colour as the haze in front of it makes it: washed out towards the sun."""
    away = math.hypot((x - SUN[0]) / 470, (y - SUN[1]) / 400)
    dusk = mix(colour, "#2c141a", .75 * max(0.0, min(1.0, (420 - y) / 440)))
    return mix(dusk, "#ef9f4e", strength * math.exp(-away * away))


def _far_crowns(drawing, random):
    """The far edge of the wood: rounded crowns without detail, one row over the other."""
    for base, height, wave, colour, sigma, opacity in (
            (690, 300, 190, "#b9682f", 12, .5), (770, 230, 150, "#9c4f28", 8, .5)):
        noise = Noise(random)
        line = [(x, base - height * (.5 + .5 * noise.fractal(x / wave, 5, .55))
                 - 150 * abs((x - SUN[0]) / 800) ** 1.5) for x in range(-40, WIDTH + 41, 10)]
        path = polygon(line + [(WIDTH + 40, GROUND + 30), (-40, GROUND + 30)])
        fill = drawing.linear((0, base - height), (0, GROUND), [
            (0, colour, opacity), (.55, mix(colour, "#f0a258", .4), opacity * .8),
            (1, "#e99a55", opacity * .5)])
        drawing.add(f'<path d="{path}" fill="url(#{fill})" filter="url(#{drawing.blur(sigma)})"/>')


def _trunk(random, x, width, foot, top=-30):
    """A trunk's outline: a slight bend, thinner upwards, flared at the foot."""
    bend, lean, phase = random.uniform(-16, 16), random.uniform(-34, 34), random.uniform(0, 6)
    points, widths = [], []
    for i in range(15):
        t = i / 14
        points.append((x + lean * t + bend * math.sin(phase + t * 3.4), foot + (top - foot) * t))
        widths.append(width * (1 - .42 * t) + width * .5 * math.exp(-t * 14))
    return points, widths


def _trunks(drawing, random, count, sizes, colour, foot, sigma, opacity, keep_clear):
    drawing.add(f'<g filter="url(#{drawing.blur(sigma)})">')
    places = sorted(random.uniform(-30, WIDTH + 30) for _ in range(count))
    for x in places:
        width = random.uniform(*sizes)
        if abs(x - SUN[0]) < keep_clear:
            continue
        points, widths = _trunk(random, x, width, foot + random.uniform(-10, 14))
        shade = drawing.linear((0, 0), (0, foot), [
            (i / 8, _lit(colour, x, foot * i / 8), opacity)
            for i in range(9)])
        drawing.add(f'<path d="{tapered(points, widths)}" fill="url(#{shade})"/>')
        if width > 12:
            _side_light(drawing, points, widths, x, "#ffae5e", .3, sigma)
        for _ in range(random.choice((1, 2, 2))):
            _offshoot(drawing, random, points, widths, colour, opacity)
    drawing.add("</g>")


def _side_light(drawing, points, widths, x, colour, opacity, sigma):
    """A soft line of light along the side of a trunk that faces the sun."""
    side = 1 if x < SUN[0] else -1
    line = [(px + side * w * .4, py) for (px, py), w in zip(points, widths)]
    drawing.add(f'<path d="{tapered(line, [w * .15 for w in widths])}" fill="{colour}" '
                f'fill-opacity="{num(opacity)}" filter="url(#{drawing.blur(sigma + 1)})"/>')


def _offshoot(drawing, random, points, widths, colour, opacity):
    """A bough high on a trunk, rising steeply."""
    at = random.randrange(10, 14)
    side = random.choice((-1, 1))
    (bx, by), width = points[at], widths[at]
    long = random.uniform(90, 190)
    limb = [(bx, by), (bx + side * long * .2, by - long * .3),
            (bx + side * long * .36, by - long * .64), (bx + side * long * .46, by - long)]
    drawing.add(f'<path d="{tapered(limb, [width * .42, width * .3, width * .2, width * .08])}" '
                f'fill="{_lit(colour, bx, by)}" fill-opacity="{num(opacity)}"/>')


def _haze(drawing, random, y, colour, opacity, sigma):
    drawing.add(f'<g filter="url(#{drawing.blur(sigma)})">')
    for _ in range(14):
        x = random.gauss(SUN[0], 420)
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y + random.uniform(-60, 40))}" '
                    f'rx="{num(random.uniform(140, 330))}" ry="{num(random.uniform(16, 42))}" '
                    f'fill="{colour}" fill-opacity="{num(opacity * random.uniform(.4, 1))}"/>')
    drawing.add("</g>")


def _rays(drawing, random):
    """Shafts of light that fan out from the sun between the trunks."""
    x, y = SUN
    drawing.add(f'<g filter="url(#{drawing.blur(13)})" style="mix-blend-mode:screen">')
    for _ in range(20):
        angle = random.uniform(math.pi * .06, math.pi * .94) * random.choice((1, 1, -1))
        half = random.uniform(.008, .034)
        reach = random.uniform(520, 980)
        start = random.uniform(50, 130)
        fill = drawing.radial(SUN, reach, [(0, "#ffdf9c", .0), (.14, "#ffdf9c", .2),
                                           (.55, "#ffc873", .1), (1, "#ffb65c", 0)])
        corners = [(x + math.cos(angle + s * half) * r, y + math.sin(angle + s * half) * r)
                   for s, r in ((-1, start), (1, start), (1, reach), (-1, reach))]
        drawing.add(f'<path d="{polygon(corners)}" fill="url(#{fill})" '
                    f'fill-opacity="{num(random.uniform(.5, 1))}"/>')
    drawing.add("</g>")


SWELLS = ((GROUND - 2, 16, 310, "#c97a35", "#8a4524", 4),
          (GROUND + 104, 26, 420, "#8d4523", "#4c2218", 3),
          (GROUND + 232, 36, 520, "#4a1f18", "#1d0c0d", 3))


def _swell(drawing, random, index):
    """One fold of the ground, lit from behind and strewn with leaves; it hides the trunks' feet."""
    base, rise, wave, top, bottom, sigma = SWELLS[index]
    noise = Noise(random)
    line = [(x, base - rise * noise.fractal(x / wave, 3)) for x in range(-40, WIDTH + 41, 16)]
    path = smooth(line) + f"L{WIDTH + 40},{HEIGHT + 60}L-40,{HEIGHT + 60}Z"
    fill = drawing.linear((0, base - rise), (0, base + 190), [(0, top), (1, bottom)])
    light = drawing.radial((0, 0), 560, [(0, "#ffb45a", (.55, .34, .14)[index]), (.5, "#ff8a3a", .14),
                                         (1, "#ff9f45", 0)],
                           f"translate({SUN[0]},{base - 10}) scale(1,.2)")
    drawing.add(f'<g filter="url(#{drawing.blur(sigma)})"><path d="{path}" fill="url(#{fill})"/>'
                f'<path d="{path}" fill="url(#{light})"/></g>')
    drawing.add(f'<g filter="url(#{drawing.blur(1.4)})">')
    for _ in range(170):
        x, t = random.uniform(-20, WIDTH + 20), random.random() ** 1.4
        y = base + 14 + t * 110
        colour = random.choice(("#d9792c", "#b8441f", "#e8a03c", "#8f2f1b", "#c95a24"))
        size = random.uniform(2.5, 6) * (1 + index * .45)
        glow = math.exp(-((x - SUN[0]) / 430) ** 2)
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y)}" rx="{num(size)}" '
                    f'ry="{num(size * .34)}" fill="{mix(mix(colour, top, .3), "#ffc878", .4 * glow)}" '
                    f'fill-opacity="{num(random.uniform(.15, .55))}"/>')
    drawing.add("</g>")


def _masses(drawing, random, count, sigma, tones, opacity):
    """The body of a canopy: soft heaps of foliage along the top, parted above the sun."""
    drawing.add(f'<g filter="url(#{drawing.blur(sigma)})">')
    for _ in range(count):
        x = random.uniform(-60, WIDTH + 60)
        side = min(1.0, abs(x - SUN[0]) / 700)
        y = random.uniform(-60, 60 + 250 * side)
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y)}" rx="{num(random.uniform(50, 120))}" '
                    f'ry="{num(random.uniform(28, 64))}" '
                    f'fill="{_lit(random.choice(tones), x, y, .5)}" '
                    f'fill-opacity="{num(opacity * random.uniform(.5, 1))}"/>')
    drawing.add("</g>")


def _leaf_shapes(drawing):
    """Plain pointed leaves, 2 units across, for canopies."""
    lobes = ""
    for angle, length, width in ((0, 1, .3), (48, .9, .27), (-48, .9, .27), (98, .62, .2),
                                 (-98, .62, .2)):
        lobes += (f'<path d="M{-width * .5},.1C{-width},-.35 {-width * .6},-.62 0,{-length}'
                  f'C{width * .6},-.62 {width},-.35 {width * .5},.1Z" '
                  f'transform="rotate({angle})"/>')
    return drawing.define(f'<g id="{{id}}">{lobes}</g>')


TONES = (("#d8872f", "#eaa63e", "#c8692a", "#f0bd55"), ("#c4572a", "#dd7a2c", "#a83a22", "#e79a3b"),
         ("#7e2a20", "#9d3a20", "#b9502a", "#63201d"))


def _canopy(drawing, random, leaf, span, count, size, tones, sigma, opacity):
    """Hanging masses of leaves along the upper edge, thinner around the sun."""
    low, high = span
    drawing.add(f'<g filter="url(#{drawing.blur(sigma)})" fill-opacity="{num(opacity)}">')
    clumps = [(random.uniform(-40, WIDTH + 40), random.uniform(60, 190)) for _ in range(26)]
    for i in range(count):
        cx, spread = clumps[i % len(clumps)]
        x = random.gauss(cx, spread * .55)
        side = min(1.0, abs(x - SUN[0]) / 700)
        y = low + (high * (.42 + .8 * side) - low) * random.random() ** 1.3
        tone = TONES[random.choice(tones)]
        grown = size * random.uniform(.6, 1.5)
        drawing.add(f'<use xlink:href="#{leaf}" fill="{_lit(random.choice(tone), x, y, .6)}" '
                    f'transform="translate({num(x)},{num(y)}) rotate({num(random.uniform(0, 360))}) '
                    f'scale({num(grown)},{num(grown * random.uniform(.55, 1))})"/>')
    drawing.add("</g>")


def _near_trunks(drawing, random):
    """Dark trunks at the sides of a wide picture; a warm line of light on the side of the sun."""
    for x, width, sigma in ((96, 92, 5), (1466, 118, 6), (322, 52, 3), (1262, 46, 3)):
        points, widths = _trunk(random, x, width, 1210 if width > 80 else 1150)
        path = tapered(points, widths)
        fill = drawing.linear((0, 0), (0, 1150), [(0, "#1b0c10"), (.5, "#2a1214"), (1, "#1f0d0e")])
        drawing.add(f'<path d="{path}" fill="url(#{fill})" '
                    f'filter="url(#{drawing.blur(sigma)})"/>')
        _side_light(drawing, points, widths, x, "#e98a44", .55, sigma)


def _bokeh(drawing, random):
    drawing.add(f'<g filter="url(#{drawing.blur(1.6)})" style="mix-blend-mode:screen">')
    for _ in range(44):
        x = random.gauss(SUN[0], 520)
        y = random.choice((random.uniform(120, 520), random.uniform(760, 1230)))
        r = random.choice((8, 12, 18, 26, 38)) * random.uniform(.8, 1.2)
        colour = random.choice(("#ffcf7a", "#ffb05a", "#ffe3a8", "#ff8f4a"))
        strength = random.uniform(.05, .13) * (1.25 - r / 62)
        drawing.add(f'<circle cx="{num(x)}" cy="{num(y)}" r="{num(r)}" fill="{colour}" '
                    f'fill-opacity="{num(strength)}" stroke="{colour}" stroke-width="1.6" '
                    f'stroke-opacity="{num(strength)}"/>')
    drawing.add("</g>")


def _near_leaves(drawing, random, leaf):
    """Two boughs close to the viewer, out of focus, from the upper corners."""
    for start, end, sag in (((-40, 170), (560, 250), 50), ((1650, 120), (1040, 236), 40)):
        (x1, y1), (x2, y2) = start, end
        points = [(x1 + (x2 - x1) * t, y1 + (y2 - y1) * t + sag * math.sin(t * 3.1)
                   + 6 * math.sin(t * 13)) for t in (i / 14 for i in range(15))]
        drawing.add(f'<g filter="url(#{drawing.blur(2.4)})">')
        drawing.add(f'<path d="{tapered(points, [15 - 12 * i / 14 for i in range(15)])}" '
                    f'fill="#260f10"/>')
        for i in range(4, 15):
            for _ in range(7):
                x = points[i][0] + random.gauss(0, 26)
                y = points[i][1] + random.gauss(14, 30)
                size = random.uniform(15, 30)
                colour = random.choice(("#8e2a1e", "#b23f20", "#cc5f26", "#701f1e", "#da7f30"))
                drawing.add(f'<use xlink:href="#{leaf}" fill="{colour}" '
                            f'fill-opacity="{num(random.uniform(.75, .95))}" '
                            f'transform="translate({num(x)},{num(y)}) '
                            f'rotate({num(random.gauss(180, 60))}) '
                            f'scale({num(size)},{num(size * random.uniform(.6, 1))})"/>')
        drawing.add("</g>")


def _shade(drawing):
    """Darker towards the corners, so that the middle glows and labels stay readable."""
    fill = drawing.radial((790, 620), 1120, [(0, "#140609", 0), (.5, "#140609", 0),
                                             (1, "#140609", .6)])
    drawing.add(_rect(f"url(#{fill})"))
