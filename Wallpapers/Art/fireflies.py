"""Fireflies as their glow at three distances, and two stalks of grass before the meadow."""

from random import Random

from svg import Drawing, num, tapered


def glow(size, core):
    """Light that fades outwards; the core is its bright part, as a part of the radius."""
    drawing = Drawing(-100, -100, 200, 200)
    fill = drawing.radial((0, 0), 99, [
        (0, "#fffdea", 1), (core * .5, "#fffbd0", 1), (core, "#f7f28e", .8),
        (core * 1.7, "#e2ec63", .42), (core * 2.9, "#c9e44f", .21), (.5, "#b6dd48", .125),
        (.71, "#a6d644", .05), (.88, "#9cd042", .012), (1, "#98cc40", 0)])
    drawing.add(f'<circle r="99" fill="url(#{fill})"/>')
    return drawing, (size, size)


def _blade(drawing, foot, top, bend, width, colour):
    """A curved, pointed leaf."""
    (x1, y1), (x2, y2) = foot, top
    line = [(x1 + (x2 - x1) * t * t + bend * t * (1 - t), y1 + (y2 - y1) * t)
            for t in (i / 8 for i in range(9))]
    drawing.add(f'<path d="{tapered(line, [width * (1 - .95 * i / 8) for i in range(9)])}" '
                f'fill="{colour}"/>')
    return line


DARK, PALE = "#050f14", "#16302d"


def _stalk():
    """A bent stalk; its foot is the middle of the picture's base. Slender, so cheap to draw."""
    drawing = Drawing(-18, -300, 36, 300)
    return drawing, _blade(drawing, (0, 0), (5, -290), -16, 4, DARK)


def timothy(seed):
    """Grass whose ear is a slender brush of fine hairs."""
    random = Random(seed)
    drawing, line = _stalk()
    core = [_along(line, .7 + .28 * i / 6) for i in range(7)]
    drawing.add(f'<path d="{tapered(core, [2, 6, 7, 6.5, 6, 5, 1.5])}" fill="{DARK}"/>')
    for i in range(150):
        t = random.random()
        x, y = _along(line, .7 + .28 * t)
        side = random.choice((-1, 1))
        dx, dy = side * random.uniform(2.5, 6.5) * (1 - .5 * t), random.uniform(4, 9)
        drawing.add(f'<path d="M{num(x)},{num(y)}L{num(x + dx)},{num(y - dy)}" stroke-width=".9" '
                    f'stroke="{PALE if side < 0 and i % 3 == 0 else DARK}" stroke-opacity=".85"/>')
    return drawing, (24, 200)


def oat(seed):
    """Grass with thin branches, from which husks hang."""
    random = Random(seed)
    drawing, line = _stalk()
    for i in range(15):
        t = i / 14
        x, y = _along(line, .56 + .43 * t)
        side = 1 if i % 2 else -1
        long = random.uniform(9, 16) * (1 - .6 * t)
        ex, ey = x + side * long * .8, y - long * .5
        drawing.add(f'<path d="M{num(x)},{num(y)}Q{num(x + side * long * .5)},{num(y - long)} '
                    f'{num(ex)},{num(ey)}" fill="none" stroke="{DARK}" stroke-width=".9"/>')
        husk = [(ex, ey), (ex + side * 1.4, ey + 6), (ex + side * .6, ey + 13)]
        tone = PALE if i % 4 == 0 else DARK
        drawing.add(f'<path d="{tapered(husk, [.8, 4, .5])}" fill="{tone}"/>')
    return drawing, (24, 200)


def _along(line, t):
    at = t * (len(line) - 1)
    i = min(int(at), len(line) - 2)
    return tuple(a + (b - a) * (at - i) for a, b in zip(line[i], line[i + 1]))


def sprites():
    return {
        "firefly_near": glow(66, .086),
        "firefly_middle": glow(40, .105),
        "firefly_far": glow(22, .136),
        "stalk1": timothy(4),
        "stalk2": oat(9),
    }


def places():
    """Where fireflies fly on the thumbnail: name, x, y (up to 240 and 320), angle, opacity."""
    return (("firefly_near", 22, 196, 0, .95), ("firefly_near", 148, 232, 0, .9),
            ("firefly_near", 128, 128, 0, .8), ("firefly_middle", 88, 206, 0, .95),
            ("firefly_middle", 196, 176, 0, .9), ("firefly_middle", 4, 146, 0, .7),
            ("firefly_middle", 60, 262, 0, .8), ("firefly_far", 110, 182, 0, .9),
            ("firefly_far", 60, 178, 0, .8), ("firefly_far", 176, 198, 0, .9),
            ("firefly_far", 150, 188, 0, .6), ("firefly_far", 30, 190, 0, .8),
            ("stalk1", 150, 210, 8, 1), ("stalk2", 0, 222, -6, 1))
