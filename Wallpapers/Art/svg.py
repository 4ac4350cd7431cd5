"""Small helpers for writing SVG: numbers, colours, gradients, outlines, fractal lines."""

import math


def num(value):
    """A number as SVG text, two decimals at most, so that files are the same on every run."""
    text = f"{value:.2f}".rstrip("0").rstrip(".")
    return "0" if text in ("", "-0") else text


def mix(a, b, t):
    """The colour between two "#rrggbb" colours."""
    pairs = zip(bytes.fromhex(a[1:]), bytes.fromhex(b[1:]))
    return "#" + "".join(f"{round(x + (y - x) * t):02x}" for x, y in pairs)


class Drawing:
    """One SVG picture: definitions, and shapes in drawing order."""

    def __init__(self, left, top, width, height):
        self._box = (left, top, width, height)
        self._definitions = []
        self._shapes = []
        self._names = 0

    def share(self, other):
        """Writes definitions into another drawing, which will hold this one's shapes."""
        self.define = other.define

    def shapes(self):
        return self._shapes

    def add(self, text):
        self._shapes.append(text)

    def define(self, text):
        """Adds a definition whose text has {id} for its name; returns the name."""
        self._names += 1
        name = f"d{self._names}"
        self._definitions.append(text.replace("{id}", name))
        return name

    def linear(self, start, end, stops):
        (x1, y1), (x2, y2) = start, end
        return self.define(
            f'<linearGradient id="{{id}}" gradientUnits="userSpaceOnUse" x1="{num(x1)}" '
            f'y1="{num(y1)}" x2="{num(x2)}" y2="{num(y2)}">{_stops(stops)}</linearGradient>')

    def radial(self, centre, radius, stops, transform=""):
        x, y = centre
        extra = f' gradientTransform="{transform}"' if transform else ""
        return self.define(
            f'<radialGradient id="{{id}}" gradientUnits="userSpaceOnUse" cx="{num(x)}" '
            f'cy="{num(y)}" r="{num(radius)}"{extra}>{_stops(stops)}</radialGradient>')

    def blur(self, sigma):
        """A blur; sigma is one number, or one for each axis."""
        across, down = sigma if isinstance(sigma, tuple) else (sigma, sigma)
        x, y, w, h = self._box
        margin = max(60, .08 * w)  # past the edges, so that a blur does not fade out there
        return self.define(
            f'<filter id="{{id}}" filterUnits="userSpaceOnUse" x="{num(x - margin)}" '
            f'y="{num(y - margin)}" width="{num(w + 2 * margin)}" height="{num(h + 2 * margin)}" '
            f'color-interpolation-filters="sRGB"><feGaussianBlur '
            f'stdDeviation="{num(across)} {num(down)}"/></filter>')

    def clip(self, path):
        return self.define(f'<clipPath id="{{id}}"><path d="{path}"/></clipPath>')

    def text(self, width, height, overscan=0.0):
        """The whole picture as SVG; overscan widens its frame by that part of each side, all round.

        The renderer fades blurred shapes out at the frame's edge, so a frame that is cropped
        afterwards gives clean edges.
        """
        x, y, w, h = self._box
        box = " ".join(num(v) for v in (x - overscan * w, y - overscan * h,
                                        w + 2 * overscan * w, h + 2 * overscan * h))
        return (f'<svg xmlns="http://www.w3.org/2000/svg" '
                f'xmlns:xlink="http://www.w3.org/1999/xlink" width="{num(width)}" '
                f'height="{num(height)}" viewBox="{box}" preserveAspectRatio="none">\n<defs>\n'
                + "\n".join(self._definitions) + "\n</defs>\n" + "\n".join(self._shapes)
                + "\n</svg>\n")


def _stops(stops):
    """Stops are (offset, colour) or (offset, colour, opacity)."""
    parts = []
    for offset, colour, *rest in stops:
        opacity = f' stop-opacity="{num(rest[0])}"' if rest else ""
        parts.append(f'<stop offset="{num(offset)}" stop-color="{colour}"{opacity}/>')
    return "".join(parts)


def polygon(points):
    return "M" + "L".join(f"{num(x)},{num(y)}" for x, y in points) + "Z"


def smooth(points, closed=False):
    """A curve through the points (Catmull-Rom, written as cubic Béziers)."""
    count = len(points)
    at = (lambda i: points[i % count]) if closed else (lambda i: points[max(0, min(count - 1, i))])
    text = f"M{num(points[0][0])},{num(points[0][1])}"
    for i in range(count if closed else count - 1):
        (ax, ay), (bx, by), (cx, cy), (dx, dy) = at(i - 1), at(i), at(i + 1), at(i + 2)
        text += (f"C{num(bx + (cx - ax) / 6)},{num(by + (cy - ay) / 6)} "
                 f"{num(cx - (dx - bx) / 6)},{num(cy - (dy - by) / 6)} {num(cx)},{num(cy)}")
    return text + ("Z" if closed else "")


def bezier(p0, p1, p2, p3, steps=16):
    """Points on a cubic Bézier, both ends included."""
    points = []
    for i in range(steps + 1):
        t = i / steps
        u = 1 - t
        k = (u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t)
        points.append(tuple(sum(w * p[axis] for w, p in zip(k, (p0, p1, p2, p3)))
                            for axis in (0, 1)))
    return points


def tapered(points, widths):
    """The outline of a stroke whose width changes along its points."""
    left, right = [], []
    for i, (x, y) in enumerate(points):
        (ax, ay), (bx, by) = points[max(0, i - 1)], points[min(len(points) - 1, i + 1)]
        length = math.hypot(bx - ax, by - ay) or 1
        nx, ny = (ay - by) / length * widths[i] / 2, (bx - ax) / length * widths[i] / 2
        left.append((x + nx, y + ny))
        right.append((x - nx, y - ny))
    return smooth(left + right[::-1], closed=True)


def bounds(points):
    xs, ys = [p[0] for p in points], [p[1] for p in points]
    return min(xs), min(ys), max(xs), max(ys)


class Noise:
    """Smooth fractal noise along a line, about -1 to 1."""

    def __init__(self, random):
        self._values = [random.uniform(-1, 1) for _ in range(512)]

    def _at(self, x):
        cell = math.floor(x)
        t = x - cell
        t = t * t * (3 - 2 * t)
        a, b = self._values[cell % 512], self._values[(cell + 1) % 512]
        return a + (b - a) * t

    def fractal(self, x, octaves=4, gain=0.5):
        total, size = 0.0, 1.0
        for octave in range(octaves):
            total += self._at(x * 2 ** octave + 37.3 * octave) * size
            size *= gain
        return total
