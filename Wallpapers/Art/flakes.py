"""Snow: four soft flakes for the petals; a crystal, a blurred flake and a clump for the flowers.

They are drawn small and nearly white: near and far flakes differ by the layer that they fall in.
"""

import math
from random import Random

from svg import Drawing, num, tapered

WHITE, COLD = "#ffffff", "#dbe8ff"


def _canvas(size):
    """A square drawing of that many points, 100 units from its middle to its edge."""
    return Drawing(-100, -100, 200, 200), (size, size)


def _disc(drawing, centre, radius, opacity, soft):
    """A round flake; soft is the part of its radius over which it fades."""
    fill = drawing.radial(centre, radius, [
        (0, WHITE, opacity), (1 - soft, WHITE, opacity * .96),
        (1 - soft * .66, COLD, opacity * .66), (1 - soft * .33, COLD, opacity * .22), (1, COLD, 0)])
    drawing.add(f'<circle cx="{num(centre[0])}" cy="{num(centre[1])}" r="{num(radius)}" '
                f'fill="url(#{fill})"/>')


def grain(size, soft):
    drawing, canvas = _canvas(size)
    _disc(drawing, (0, 0), 97, .98, soft)
    return drawing, canvas


def clump(size, seed, count, spread):
    """Flakes that have caught on each other: soft discs round a brighter middle."""
    random = Random(seed)
    drawing, canvas = _canvas(size)
    for i in range(count):
        angle, far = i * 2.4 + random.uniform(-.4, .4), spread * math.sqrt(random.uniform(.15, 1))
        centre = (far * math.cos(angle), far * math.sin(angle))
        _disc(drawing, centre, random.uniform(26, 46), .5, .75)
    _disc(drawing, (0, 0), 58, .7, .8)
    return drawing, canvas


def star(size, width, reach=88):
    """Six soft points."""
    drawing, canvas = _canvas(size)
    _disc(drawing, (0, 0), 92, .5, .95)
    drawing.add(f'<g filter="url(#{drawing.blur(6)})" fill="{WHITE}">')
    for i in range(6):
        dx, dy = math.sin(i * math.pi / 3), -math.cos(i * math.pi / 3)
        arm = [(dx * r, dy * r) for r in (0, reach * .5, reach)]
        drawing.add(f'<path d="{tapered(arm, [width, width * .75, 2])}"/>')
    drawing.add("</g>")
    _disc(drawing, (0, 0), 34, .9, .8)
    return drawing, canvas


def crystal(size):
    """A star of ice whose six arms have side branches."""
    drawing, canvas = _canvas(size)
    _disc(drawing, (0, 0), 98, .2, .95)
    drawing.add(f'<g fill="none" stroke="{WHITE}" stroke-linecap="round" stroke-linejoin="round" '
                f'filter="url(#{drawing.blur(1.2)})">')
    for i in range(6):
        drawing.add(f'<g transform="rotate({60 * i})">'
                    f'<path d="M0,0V-88" stroke-width="7.5" stroke-opacity=".85"/>'
                    f'<path d="M-21,-81L0,-62L21,-81M-29,-62L0,-38L29,-62" stroke-width="6" '
                    f'stroke-opacity=".7"/><path d="M-14,-25L0,-40L14,-25L0,-14Z" fill="{COLD}" '
                    f'fill-opacity=".35" stroke-width="4.5" stroke-opacity=".8"/></g>')
    drawing.add("</g>")
    _disc(drawing, (0, 0), 16, .9, .7)
    return drawing, canvas


def blurred(size):
    """A flake close to the viewer, out of focus: a wide, pale disc."""
    drawing, canvas = _canvas(size)
    fill = drawing.radial((0, 0), 96, [(0, WHITE, .36), (.45, COLD, .34), (.68, COLD, .25),
                                       (.86, COLD, .09), (1, COLD, 0)])
    drawing.add(f'<circle r="96" fill="url(#{fill})"/>')
    return drawing, canvas


def sprites():
    return {
        "petal1": grain(9, .8),
        "petal2": clump(17, seed=5, count=6, spread=34),
        "petal3": grain(13, .92),
        "petal4": star(16, 15),
        "flower1": crystal(27),
        "flower2": blurred(34),
        "flower3": clump(25, seed=11, count=9, spread=44),
    }


def places():
    """Where flakes lie on the thumbnail: name, x, y (up to 240 and 320), angle, opacity."""
    random = Random(3)
    names = ["petal1", "petal3"] * 6 + ["petal2", "petal4"] * 3 + ["flower1", "flower2", "flower3"]
    return [(random.choice(names), random.randrange(-8, 238), random.randrange(-8, 318),
             random.randrange(360), random.choice((.5, .65, .85))) for _ in range(64)]
