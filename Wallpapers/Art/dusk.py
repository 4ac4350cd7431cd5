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
SPRAY = 4  # another number grows other branches

SKY = [(0, "#17133a"), (.22, "#2c2054"), (.42, "#4f3273"), (.6, "#834d85"), (.75, "#b96d8a"),
       (.88, "#e39a90"), (1, "#f8c6a0")]


def draw():
    drawing = Drawing(0, 0, WIDTH, HEIGHT)
    random = Random(2024)
    _sky(drawing, random)
    hills = _hills(drawing, random)
    _lake(drawing, random, hills)
    _bank(drawing, random)
    _bokeh(drawing, random)
    _branches(drawing)
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
    _glow(drawing, MOON, 430, "#ffd3c4", .3)
    _glow(drawing, MOON, 140, "#ffead8", .42)
    x, y = MOON
    face = drawing.linear((x - 12, y - 50), (x + 10, y + 52), [
        (0, "#fff6e6", .97), (.45, "#ffeedb", .93), (.8, "#fbd3bf", .8), (1, "#f0b4ac", .62)])
    drawing.add(f'<g filter="url(#{drawing.blur(.7)})"><circle cx="{x}" cy="{y}" r="50" '
                f'fill="url(#{face})"/></g>')
    drawing.add(f'<g filter="url(#{drawing.blur(5)})" fill="#d9a3a6" fill-opacity=".2">')
    for dx, dy, rx, ry in ((-16, -8, 15, 10), (8, -20, 10, 7), (13, 10, 17, 11), (-9, 20, 9, 6)):
        drawing.add(f'<ellipse cx="{x + dx}" cy="{y + dy}" rx="{rx}" ry="{ry}"/>')
    drawing.add("</g>")
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
    """Three ranges and a wooded shore; kept as one shape, which the lake shows again."""
    scene = Drawing(0, 0, WIDTH, HEIGHT)
    scene.share(drawing)
    ranges = [
        (806, 200, 330, .46, "#a0628d", "#f6b9a0", .96),
        (828, 136, 250, .46, "#80497f", "#e8a197", .86),
        (848, 92, 200, .5, "#61386f", "#c58092", .74),
    ]
    for base, height, wave, rough, colour, mist, strength in ranges:
        line = _ridge(random, base, height, wave, rough)
        _slope(scene, line, colour, mist, SHORE, strength)
        _mist(scene, random, base + 14, base + 40, "#ffcdb8", .12)
    line = [(x, SHORE - 12 - 46 * abs((x - 790) / 800) ** 1.5 * (1 + .25 * math.sin(x / 60))
             - 2 * math.sin(x / 37)) for x in range(-40, WIDTH + 41, 8)]
    _grove(scene, random, line, .78, "#6f4276", "#b3719a", "#e6a3b6")
    _slope(scene, line, "#4d2e62", "#8b5580", SHORE, .6)
    group = drawing.define('<g id="{id}">' + "\n".join(scene.shapes()) + "</g>")
    drawing.add(f'<use xlink:href="#{group}"/>')
    return group


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
    drawing.add(f'<g filter="url(#{drawing.blur(.9)})">')
    x = -20.0
    while x < WIDTH + 20:
        ground = line[max(0, min(len(line) - 1, int((x + 40) / 8)))][1]
        away = abs(x - 800) / 800
        if random.random() < .3 + .65 * away:
            size = scale * random.uniform(13, 30) * (.65 + .85 * away)
            drawing.add(f'<path d="{tapered([(x, ground + 4), (x, ground - size)], [size * .16, 1])}"'
                        f' fill="#3d2552"/>')
            _crown(drawing, random, (x, ground - size * .72), size, dark, mid, light)
        x += random.uniform(15, 36) * scale
    drawing.add("</g>")


def _crown(drawing, random, centre, size, dark, mid, light):
    cx, cy = centre
    sun = -1 if cx > MOON[0] else 1
    puffs = [(random.uniform(-.75, .75), random.uniform(-.3, .3)) for _ in range(5)]
    for px, py in puffs:
        drawing.add(f'<circle cx="{num(cx + px * size)}" cy="{num(cy + py * size)}" '
                    f'r="{num(size * random.uniform(.3, .46))}" fill="{dark}" fill-opacity=".85"/>')
    for tone, count, reach, dot, shift, opacity in ((mid, 30, .42, .13, .1, .6),
                                                    (light, 34, .34, .075, .2, .62)):
        for i in range(count):
            px, py = puffs[i % len(puffs)]
            angle, far = random.uniform(0, 2 * math.pi), math.sqrt(random.random()) * reach
            x = cx + (px + math.cos(angle) * far + shift * sun * .6) * size
            y = cy + (py + math.sin(angle) * far * .85 - shift) * size
            drawing.add(f'<circle cx="{num(x)}" cy="{num(y)}" '
                        f'r="{num(size * dot * random.uniform(.6, 1.3))}" fill="{tone}" '
                        f'fill-opacity="{num(opacity * random.uniform(.6, 1.2))}"/>')


def _lake(drawing, random, hills):
    """Still water: the sky upside down and darker, the hills and the moon as drawn-out shapes."""
    stops = [(0, "#f0ae98"), (.12, "#cf8592"), (.32, "#8d5486"), (.6, "#50346d"), (1, "#1e183f")]
    fill = drawing.linear((0, SHORE), (0, HEIGHT), stops)
    drawing.add(_rect(SHORE, HEIGHT + 10, f"url(#{fill})"))
    _glow(drawing, (860, SHORE + 10), 760, "#ffd2a6", .34, flat=.22)
    below = drawing.define(f'<clipPath id="{{id}}"><rect x="-10" y="{SHORE}" width="{WIDTH + 20}" '
                           f'height="{HEIGHT - SHORE + 10}"/></clipPath>')
    drawing.add(f'<g clip-path="url(#{below})"><g opacity=".55" '
                f'filter="url(#{drawing.blur((1.5, 7))})"><use xlink:href="#{hills}" '
                f'transform="translate(0,{num(SHORE * 1.86)}) scale(1,-.86)"/></g></g>')
    veil = drawing.linear((0, SHORE), (0, SHORE + 270), [(0, "#a5668f", .0), (1, "#50346d", .5)])
    drawing.add(_rect(SHORE, HEIGHT + 10, f"url(#{veil})"))
    _ripples(drawing, random)
    _moon_path(drawing, random)
    _mist(drawing, random, SHORE - 8, SHORE + 6, "#ffd5c4", .2)
    line = drawing.linear((0, SHORE - 7), (0, SHORE + 8), [(0, "#ffd9c8", 0), (.5, "#ffd9c8", .3),
                                                           (1, "#ffd9c8", 0)])
    drawing.add(_rect(SHORE - 7, SHORE + 8, f"url(#{line})"))


def _ripples(drawing, random):
    """Long streaks, wider apart towards the viewer; light ones gather under the glow."""
    drawing.add(f'<g filter="url(#{drawing.blur((5, .8))})">')
    for _ in range(210):
        t = random.random() ** 1.35
        y = SHORE + 5 + t * (HEIGHT - SHORE)
        x = random.uniform(-100, WIDTH + 100)
        glow = math.exp(-((x - MOON[0]) / 300) ** 2) * (1 - t * .6)
        colour = "#fbc3b0" if random.random() < .3 + .6 * glow else "#251a49"
        drawing.add(f'<ellipse cx="{num(x)}" cy="{num(y)}" '
                    f'rx="{num(random.uniform(30, 120) * (.4 + t))}" ry="{num(.6 + 1.9 * t)}" '
                    f'fill="{colour}" fill-opacity="{num(random.uniform(.06, .2))}"/>')
    drawing.add("</g>")


def _moon_path(drawing, random):
    """The moon's light on the water: a soft column with glints that scatter as they come near."""
    x, _ = MOON
    column = drawing.linear((0, SHORE), (0, SHORE + 330), [(0, "#ffe6d0", .42), (.5, "#ffd9c4", .16),
                                                           (1, "#ffd9c4", 0)])
    shape = polygon([(x - 20, SHORE), (x + 20, SHORE), (x + 74, HEIGHT), (x - 74, HEIGHT)])
    drawing.add(f'<path d="{shape}" fill="url(#{column})" filter="url(#{drawing.blur((16, 2))})"/>')
    drawing.add(f'<g filter="url(#{drawing.blur((1.6, .5))})">')
    for _ in range(150):
        t = random.random() ** 1.5
        spread = 9 + 42 * t
        off = random.gauss(0, spread)
        y = SHORE + 3 + t * 340
        fade = math.exp(-(off / spread) ** 2 * .5) * (1 - t) ** 1.1
        drawing.add(f'<ellipse cx="{num(x + off)}" cy="{num(y)}" '
                    f'rx="{num(random.uniform(3, 13) * (.6 + t))}" ry="{num(.6 + 1.1 * t)}" '
                    f'fill="#fff1e2" fill-opacity="{num(.75 * fade + .04)}"/>')
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


def _limb(random, x, y, angle, length, width, curl):
    """A wandering, tapering line; returns its points, widths and the angle at each point."""
    points, widths, angles = [(x, y)], [width], [angle]
    steps = max(5, int(length / 22))
    for i in range(1, steps + 1):
        angle += curl / steps + random.gauss(0, .085)
        x += math.cos(angle) * length / steps
        y += math.sin(angle) * length / steps
        points.append((x, y))
        widths.append(max(1.3, width * (1 - .86 * i / steps)))
        angles.append(angle)
    return points, widths, angles


def _tree(random, x, y, angle, length, width, curl, depth):
    """A limb and the limbs that leave it, as (points, widths, depth), the thickest first."""
    limb = _limb(random, x, y, angle, length, width, curl)
    limbs = [limb[:2] + (depth,)]
    if depth == 0:
        return limbs
    points, widths, angles = limb
    side = random.choice((-1, 1))
    at = 2 + random.randrange(2)
    while at < len(points) - 1:
        side = -side
        limbs += _tree(random, *points[at], angles[at] + side * random.uniform(.45, .95),
                       length * random.uniform(.26, .44) * (1 - .4 * at / len(points)),
                       widths[at] * .6, -side * random.uniform(.1, .5) + .12, depth - 1)
        at += random.choice((1, 2, 2, 3))
    return limbs


def _branches(drawing):
    random = Random(SPRAY)
    blooms = _bloom_shapes(drawing)
    far = [(-30, 350, -.1, 300, 9, -.2), (1640, 392, math.pi + .1, 340, 10, .1)]
    near = [(1660, 150, math.pi - .26, 730, 25, .3), (-50, 262, .02, 500, 18, .16)]
    _spray(drawing, random, [_tree(random, *f, 2) for f in far], blooms, 3.2, "#4a2c5e", .5, .62)
    _spray(drawing, random, [_tree(random, *n, 2) for n in near], blooms, .8, "#24142f", .95, .84)


def _spray(drawing, random, trees, blooms, sigma, bark, opacity, scale):
    """Bare limbs first, then blossom in bunches on the thin ones, and buds at their tips."""
    drawing.add(f'<g filter="url(#{drawing.blur(sigma)})" opacity="{num(opacity)}">')
    for tree in trees:
        for points, widths, _ in tree:
            drawing.add(f'<path d="{tapered(points, widths)}" fill="{bark}"/>')
            upper = [(x, y - w * .28) for (x, y), w in zip(points, widths)]
            drawing.add(f'<path d="{tapered(upper, [w * .3 for w in widths])}" fill="#8a5573" '
                        f'fill-opacity=".4"/>')
        for points, _, _ in tree:
            _buds(drawing, random, points, bark, scale)
        for points, _, depth in tree:
            for k, (x, y) in enumerate(points):
                along = k / (len(points) - 1)
                if depth == 2 and along < .5 or random.random() > (.36, .28, .26)[depth] + .28 * along:
                    continue
                _bunch(drawing, random, blooms, x, y, scale)
    drawing.add("</g>")


def _bunch(drawing, random, blooms, x, y, scale):
    for _ in range(random.choice((2, 3, 3, 4, 5))):
        size = random.uniform(8.5, 15.5) * scale
        _bloom(drawing, random, blooms, x + random.gauss(0, 11) * scale,
               y + random.gauss(3, 9) * scale, size)


def _buds(drawing, random, points, bark, scale):
    x, y = points[-1]
    for _ in range(3):
        dx, dy = random.gauss(0, 10) * scale, random.uniform(4, 17) * scale
        stalk = [(x, y), (x + dx * .6, y + dy * .4), (x + dx, y + dy)]
        drawing.add(f'<path d="{tapered(stalk, [1.4, 1.1, .8])}" fill="{bark}"/>')
        drawing.add(f'<ellipse cx="{num(x + dx)}" cy="{num(y + dy + 2)}" rx="{num(3 * scale)}" '
                    f'ry="{num(4.4 * scale)}" fill="{random.choice(("#b4567d", "#d184a8"))}"/>')


def _bloom_shapes(drawing):
    """Three plain flowers, 2 units across, in dusk colours from dark to light."""
    petal = ("M0,0C.16,-.12 .53,-.3 .54,-.66C.54,-.9 .34,-1.02 .15,-1L0,-.87L-.15,-1"
             "C-.34,-1.02 -.54,-.9 -.54,-.66C-.53,-.3 -.16,-.12 0,0Z")
    petals = "".join(f'<path d="{petal}" transform="rotate({72 * i})"/>' for i in range(5))
    dots = "".join(f'<circle cx="{num(r * math.cos(a))}" cy="{num(r * math.sin(a))}" r=".05"/>'
                   for a, r in ((i * .7, .26 + .1 * (i % 2)) for i in range(9)))
    shapes = []
    for body, edge, heart in (("#a8648f", "#bf80a3", "#7a3a68"), ("#d48fae", "#e9b3c6", "#a04f79"),
                              ("#f0bccb", "#fce2e4", "#c4688d")):
        fill = drawing.radial((0, 0), 1.02, [(0, heart), (.22, mix(heart, body, .7)), (.5, body),
                                             (1, edge)])
        shapes.append(drawing.define(
            f'<g id="{{id}}"><g fill="url(#{fill})" stroke="{heart}" stroke-width=".03" '
            f'stroke-opacity=".3">{petals}</g><g fill="#f6d3a0" fill-opacity=".75">{dots}</g></g>'))
    return shapes


def _bloom(drawing, random, blooms, x, y, size):
    shape = blooms[random.choice((0, 0, 0, 1, 1, 1, 2))]
    tilt = random.uniform(.55, 1)
    drawing.add(f'<use xlink:href="#{shape}" transform="translate({num(x)},{num(y)}) '
                f'rotate({num(random.uniform(0, 360))}) scale({num(size)},{num(size * tilt)}) '
                f'rotate({num(random.uniform(0, 72))})"/>')


def _shade(drawing):
    """Darker towards the corners, so that the middle glows and labels stay readable."""
    fill = drawing.radial((820, 700), 1120, [(0, "#0d0824", 0), (.55, "#0d0824", 0),
                                             (1, "#0d0824", .5)])
    drawing.add(_rect(-10, HEIGHT + 10, f"url(#{fill})"))
