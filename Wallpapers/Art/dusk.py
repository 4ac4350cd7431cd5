"""The background of the blossom wallpaper: a lake among hills at dusk, under cherry branches.

The canvas is 1600 x 1280 units. A tall phone shows about the middle 590 units of its width, a wide
screen about the middle 900 units of its height; both keep the moon, the shore and some blossom.
"""

import math
from random import Random

from svg import Drawing, Noise, mix, num, polygon, smooth, tapered

WIDTH, HEIGHT = 1600, 1280
SHORE = 868
MOON = (884, 452)

SKY = [(0, "#17133a"), (.22, "#2c2054"), (.42, "#4f3273"), (.6, "#834d85"), (.75, "#b96d8a"),
       (.88, "#e39a90"), (1, "#f8c6a0")]


def draw():
    drawing = Drawing(0, 0, WIDTH, HEIGHT)
    random = Random(2024)
    _sky(drawing, random)
    _hills(drawing, random)
    _lake(drawing, random)
    _bank(drawing, random)
    _bokeh(drawing, random)
    _branches(drawing, random)
    _shade(drawing)
    return drawing


def _rect(top, bottom, fill, extra=""):
    return (f'<rect x="-10" y="{num(top)}" width="{WIDTH + 20}" height="{num(bottom - top)}" '
            f'fill="{fill}"{extra}/>')


def _glow(drawing, centre, radius, colour, opacity, flat=1.0):
    x, y = centre
    fill = drawing.radial((0, 0), radius, [
        (0, colour, opacity), (.2, colour, opacity * .72), (.45, colour, opacity * .3),
        (.72, colour, opacity * .08), (1, colour, 0)])
    drawing.add(f'<circle r="{num(radius)}" fill="url(#{fill})" '
                f'transform="translate({num(x)},{num(y)}) scale(1,{num(flat)})"/>')


def _sky(drawing, random):
    fill = drawing.linear((0, 0), (0, SHORE), SKY)
    drawing.add(_rect(-10, SHORE + 10, f"url(#{fill})"))
    for _ in range(130):
        x, y = random.uniform(0, WIDTH), random.uniform(0, 1) ** 1.6 * 460
        radius = random.choice((.6, .8, .8, 1.1, 1.5))
        drawing.add(f'<circle cx="{num(x)}" cy="{num(y)}" r="{num(radius)}" fill="#ffeaf4" '
                    f'fill-opacity="{num(random.uniform(.15, .6) * (1 - y / 560))}"/>')
    _glow(drawing, (860, SHORE - 40), 900, "#ffcf9c", .62, flat=.5)
    _glow(drawing, MOON, 420, "#ffd9c4", .36)
    _glow(drawing, MOON, 150, "#fff0dc", .5)
    x, y = MOON
    face = drawing.radial((x - 14, y - 16), 82, [(0, "#fffaf0"), (.7, "#fff0dc"), (1, "#ffe0c4")])
    drawing.add(f'<circle cx="{x}" cy="{y}" r="58" fill="url(#{face})"/>')
    _clouds(drawing, random)


def _clouds(drawing, random):
    """Long, thin veils that catch the last light from below."""
    for sigma, count, low, high, colour, opacity in (
            (16, 9, 560, 760, "#ffc3ac", .24), (11, 8, 440, 640, "#e58fa6", .22),
            (14, 7, 250, 480, "#8a5591", .24), (5, 7, 520, 700, "#ffd9be", .22)):
        blur = drawing.blur(sigma)
        drawing.add(f'<g filter="url(#{blur})">')
        for _ in range(count):
            x, y = random.uniform(-100, WIDTH + 100), random.uniform(low, high)
            long, high_ = random.uniform(130, 420), random.uniform(5, 15)
            points = []
            for i in range(15):
                t = i / 14
                swell = math.sin(math.pi * t) ** .8 * high_ * random.uniform(.7, 1.25)
                points.append((x + (t - .5) * long, y - swell - t * 6))
            for i in range(14, -1, -1):
                t = i / 14
                points.append((x + (t - .5) * long, y + math.sin(math.pi * t) * high_ * .35 - t * 6))
            drawing.add(f'<path d="{smooth(points, True)}" fill="{colour}" '
                        f'fill-opacity="{num(opacity * random.uniform(.6, 1.3))}"/>')
        drawing.add("</g>")


def _ridge(random, base, height, wave, rough):
    noise = Noise(random)
    return [(x, base - height * (.55 + .5 * noise.fractal(x / wave, 5, rough)))
            for x in range(-40, WIDTH + 41, 8)]


def _slope(drawing, line, colour, mist, foot, mist_opacity=1.0):
    """One range of hills: its own colour along the crest, mist at its foot."""
    top = min(y for _, y in line)
    path = polygon(line + [(WIDTH + 40, foot + 4), (-40, foot + 4)])
    fill = drawing.linear((0, top), (0, foot), [(0, colour), (.35, mix(colour, mist, .18)),
                                                (1, mix(colour, mist, mist_opacity))])
    drawing.add(f'<path d="{path}" fill="url(#{fill})"/>')


def _hills(drawing, random):
    ranges = [
        (808, 190, 330, .46, "#a5668f", "#f3b6a0", .95),
        (828, 130, 250, .46, "#875087", "#e8a39a", .85),
        (846, 92, 210, .5, "#693d76", "#c98494", .72),
    ]
    for base, height, wave, rough, colour, mist, strength in ranges:
        line = _ridge(random, base, height, wave, rough)
        _slope(drawing, line, colour, mist, SHORE, strength)
    _mist(drawing, random, 800, 860, "#ffd9c6", .3)
    line = [(x, SHORE - 14 - 34 * abs((x - 780) / 800) ** 1.4 * (1 + .3 * math.sin(x / 60)))
            for x in range(-40, WIDTH + 41, 8)]
    _grove(drawing, random, line, .8, "#7c4a7d", "#c77f9f", "#e8a6b4")
    _slope(drawing, line, "#573465", "#a3668a", SHORE, .6)
    _mist(drawing, random, 848, 876, "#ffdccb", .34)


def _mist(drawing, random, low, high, colour, opacity):
    drawing.add(f'<g filter="url(#{drawing.blur(13)})">')
    for _ in range(16):
        x, y = random.uniform(-100, WIDTH + 100), random.uniform(low, high)
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y)}" rx="{num(random.uniform(120, 300))}" '
                    f'ry="{num(random.uniform(5, 13))}" fill="{colour}" '
                    f'fill-opacity="{num(opacity * random.uniform(.5, 1))}"/>')
    drawing.add("</g>")


def _grove(drawing, random, line, scale, dark, mid, light):
    """Flowering trees along a shore: crowns heaped up from soft dots, lit from the middle."""
    drawing.add(f'<g filter="url(#{drawing.blur(1.1)})">')
    x = -20.0
    while x < WIDTH + 20:
        ground = line[max(0, min(len(line) - 1, int((x + 40) / 8)))][1]
        away = abs(x - 800) / 800
        if random.random() < .38 + .6 * away:
            size = scale * random.uniform(15, 30) * (.7 + .8 * away)
            _crown(drawing, random, (x, ground - size * .55), size, dark, mid, light)
        x += random.uniform(16, 40) * scale
    drawing.add("</g>")


def _crown(drawing, random, centre, size, dark, mid, light):
    cx, cy = centre
    sun = -1 if cx > MOON[0] else 1
    for tone, count, spread, dot in ((dark, 16, 1.0, .34), (mid, 20, .86, .26),
                                     (light, 18, .7, .15)):
        shift = 0 if tone is dark else (.14 if tone is mid else .26)
        for _ in range(count):
            angle, reach = random.uniform(0, 2 * math.pi), math.sqrt(random.random()) * spread
            x = cx + (math.cos(angle) * reach * 1.25 + shift * sun) * size
            y = cy + (math.sin(angle) * reach * .72 - shift * .9) * size
            drawing.add(f'<circle cx="{num(x)}" cy="{num(y)}" '
                        f'r="{num(size * dot * random.uniform(.6, 1.2))}" fill="{tone}" '
                        f'fill-opacity="{num(random.uniform(.45, .8))}"/>')


def _lake(drawing, random):
    """Still water: the sky upside down and darker, the hills as soft streaks, the moon's path."""
    stops = [(0, "#e9a796"), (.1, "#c98092"), (.3, "#8d5586"), (.58, "#54376f"), (1, "#231b45")]
    fill = drawing.linear((0, SHORE), (0, HEIGHT), stops)
    drawing.add(_rect(SHORE, HEIGHT + 10, f"url(#{fill})"))
    _glow(drawing, (860, SHORE + 10), 760, "#ffd2a6", .34, flat=.22)
    shore = drawing.linear((0, SHORE), (0, SHORE + 120), [
        (0, "#50305f", .8), (.25, "#5d386c", .45), (1, "#5d386c", 0)])
    drawing.add(_rect(SHORE, SHORE + 120, f"url(#{shore})"))
    drawing.add(f'<g filter="url(#{drawing.blur(3)})">')
    for _ in range(120):  # ripples, wider and fainter towards the viewer
        t = random.random() ** 1.5
        y = SHORE + 6 + t * (HEIGHT - SHORE)
        x = random.uniform(-100, WIDTH + 100)
        near_path = math.exp(-((x - MOON[0]) / 260) ** 2)
        colour = mix("#2a1d4c", "#ffc9ae", .3 + .6 * near_path)
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y)}" '
                    f'rx="{num(random.uniform(50, 150) * (.5 + t))}" ry="{num(.8 + 2.6 * t)}" '
                    f'fill="{colour}" fill-opacity="{num(random.uniform(.05, .16))}"/>')
    drawing.add("</g>")
    drawing.add(f'<g filter="url(#{drawing.blur(1.6)})">')
    for i in range(46):
        t = (i / 45) ** 1.15
        y = SHORE + 4 + t * 330
        half = (18 + 46 * t) * random.uniform(.45, 1.1)
        x = MOON[0] + random.gauss(0, 9 + 16 * t)
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y)}" rx="{num(half)}" '
                    f'ry="{num(1.2 + 2.2 * t)}" fill="#ffeeda" '
                    f'fill-opacity="{num(.5 * (1 - t) ** 1.3 + .03)}"/>')
    drawing.add("</g>")


def _bank(drawing, random):
    """The near bank in the lower corners, with reeds; it leaves the middle to the water."""
    for side in (-1, 1):
        edge = 0 if side < 0 else WIDTH
        line = []
        for i in range(41):
            t = i / 40
            x = edge - side * t * 640
            line.append((x, 1128 + 190 * t ** 1.35 + 7 * math.sin(t * 17 + side)))
        path = smooth(line) + f"L{num(line[-1][0])},1300L{edge + side * 20},1300L{edge + side * 20},1120Z"
        fill = drawing.linear((0, 1120), (0, HEIGHT), [(0, "#2c1c4a"), (1, "#150e2c")])
        drawing.add(f'<g filter="url(#{drawing.blur(2.2)})"><path d="{path}" fill="url(#{fill})"/>')
        for _ in range(46):
            t = random.random() ** 1.3 * .8
            x, y = edge - side * t * 640, 1132 + 190 * t ** 1.35
            tall, lean = random.uniform(26, 90) * (1 - .6 * t), random.uniform(-22, 22)
            blade = [(x, y + 8), (x + lean * .3, y - tall * .5), (x + lean, y - tall)]
            drawing.add(f'<path d="{tapered(blade, [3.2, 2.2, .4])}" fill="#22163d"/>')
        drawing.add("</g>")


def _bokeh(drawing, random):
    spots = []
    for _ in range(34):
        x = random.uniform(0, WIDTH)
        y = random.uniform(880, 1270) if random.random() < .6 else random.uniform(60, 600)
        spots.append((x, y, random.choice((9, 14, 20, 28, 40)) * random.uniform(.8, 1.2)))
    drawing.add(f'<g filter="url(#{drawing.blur(1.5)})">')
    for x, y, r in spots:
        colour = random.choice(("#ffc7d8", "#ffd9b0", "#f7a6c4", "#ffe9da"))
        strength = random.uniform(.04, .1) * (1.25 - r / 60)
        drawing.add(f'<circle cx="{num(x)}" cy="{num(y)}" r="{num(r)}" fill="{colour}" '
                    f'fill-opacity="{num(strength)}" stroke="{colour}" stroke-width="1.6" '
                    f'stroke-opacity="{num(strength * .9)}"/>')
    drawing.add("</g>")


def _branch(random, start, end, sag, width, tip):
    """Points of a gently wandering branch and its width along them."""
    (x1, y1), (x2, y2) = start, end
    points, widths = [], []
    steps = 16
    phase = random.uniform(0, 6)
    for i in range(steps + 1):
        t = i / steps
        wander = math.sin(phase + t * 9) * 7 * t + math.sin(phase * 2 + t * 21) * 2.6
        points.append((x1 + (x2 - x1) * t, y1 + (y2 - y1) * t + sag * math.sin(math.pi * t) + wander))
        widths.append(width + (tip - width) * t ** .8)
    return points, widths


def _twigs(random, branch, count, reach):
    """Thin side branches, upwards and hanging, from the outer part of a branch."""
    points, widths = branch
    twigs = []
    for i in range(count):
        at = int((.22 + .74 * i / max(1, count - 1)) * (len(points) - 1))
        (ax, ay), (bx, by) = points[max(0, at - 1)], points[at]
        angle = math.atan2(by - ay, bx - ax) + random.choice((-1, 1)) * random.uniform(.45, 1.0)
        length = reach * random.uniform(.5, 1.0)
        line = [(bx + math.cos(angle + .25 * k / 6) * length * k / 6,
                 by + math.sin(angle + .25 * k / 6) * length * k / 6 + 5 * (k / 6) ** 2)
                for k in range(7)]
        first = max(2.0, widths[at] * .5)
        twigs.append((line, [first + (1.0 - first) * k / 6 for k in range(7)]))
    return twigs


def _branches(drawing, random):
    blooms = _bloom_shapes(drawing)
    far = [_branch(random, (-30, 150), (330, 300), -30, 12, 2),
           _branch(random, (1640, 250), (1230, 330), -26, 12, 2)]
    near = [_branch(random, (1650, 60), (1000, 262), 46, 22, 3),
            _branch(random, (-40, 250), (420, 206), -44, 17, 2.5)]
    _spray(drawing, random, far, blooms, 2.6, "#3a2350", 3, 78, .62, .78)
    _spray(drawing, random, near, blooms, .9, "#241536", 8, 112, .92, 1.0)


def _spray(drawing, random, branches, blooms, sigma, bark, twig_count, reach, opacity, scale):
    """Branches with their twigs, then blossom along the outer parts of them."""
    drawing.add(f'<g filter="url(#{drawing.blur(sigma)})" opacity="{num(opacity)}">')
    for branch in branches:
        twigs = _twigs(random, branch, twig_count, reach)
        for line, widths in [branch] + twigs:
            drawing.add(f'<path d="{tapered(line, widths)}" fill="{bark}"/>')
        places = [line[k] for line, _ in twigs for k in (3, 4, 5, 6, 6)]
        points = branch[0]
        places += [points[k] for k in range(5, len(points))] + [points[-1]] * 3
        places.sort(key=lambda p: p[1] + random.uniform(-20, 20))
        for x, y in places:
            for _ in range(random.choice((1, 2, 2, 3))):
                size = random.uniform(11, 21) * scale
                _bloom(drawing, random, blooms, x + random.gauss(0, 13) * scale,
                       y + random.gauss(2, 12) * scale, size)
    drawing.add("</g>")


def _bloom_shapes(drawing):
    """Three plain flowers and a bud, 2 units across, in dusk colours from dark to light."""
    shapes = []
    for body, edge, heart in (("#a55f8e", "#c987ab", "#6d2f5c"), ("#d184a8", "#eeb3c6", "#8c3a66"),
                              ("#efb0c4", "#fde0e2", "#b4567d")):
        fill = drawing.radial((0, 0), 1.02, [(0, heart), (.28, body), (1, edge)])
        petal = "M0,0C.2,-.1 .52,-.34 .5,-.68C.49,-.92 .3,-1 .14,-.98L0,-.86L-.14,-.98C-.3,-1 -.49,-.92 -.5,-.68C-.52,-.34 -.2,-.1 0,0Z"
        petals = "".join(f'<path d="{petal}" transform="rotate({72 * i})"/>' for i in range(5))
        dots = "".join(f'<circle cx="{num(.3 * math.cos(a))}" cy="{num(.3 * math.sin(a))}" r=".06"/>'
                       for a in (i * .9 for i in range(7)))
        shapes.append(drawing.define(
            f'<g id="{{id}}"><g fill="url(#{fill})" stroke="{heart}" stroke-width=".035" '
            f'stroke-opacity=".35">{petals}</g><g fill="#f6cf8c" fill-opacity=".8">{dots}</g></g>'))
    return shapes


def _bloom(drawing, random, blooms, x, y, size):
    shape = blooms[random.choice((0, 0, 1, 1, 1, 2))]
    tilt = random.uniform(.55, 1)
    drawing.add(f'<use xlink:href="#{shape}" transform="translate({num(x)},{num(y)}) '
                f'rotate({num(random.uniform(0, 360))}) scale({num(size)},{num(size * tilt)}) '
                f'rotate({num(random.uniform(0, 72))})"/>')


def _shade(drawing):
    """Darker towards the corners, so that the middle glows and labels stay readable."""
    fill = drawing.radial((820, 700), 1120, [(0, "#0d0824", 0), (.55, "#0d0824", 0),
                                             (1, "#0d0824", .5)])
    drawing.add(_rect(-10, HEIGHT + 10, f"url(#{fill})"))
