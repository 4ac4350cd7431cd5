"""A small picture on a transparent ground whose canvas fits its shape tightly."""

import math

from svg import Drawing, bounds

MARGIN = 1.25  # points around the shape, for its antialiased edge


def fitted(outline, longest):
    """An empty drawing around the outline, and its size in whole points.

    The longer side of the shape comes out `longest` points long, margin included.
    """
    left, top, right, bottom = bounds(outline)
    unit = max(right - left, bottom - top) / (longest - 2 * MARGIN)  # art units a point
    width = math.ceil((right - left) / unit + 2 * MARGIN - 0.01)
    height = math.ceil((bottom - top) / unit + 2 * MARGIN - 0.01)
    centre_x, centre_y = (left + right) / 2, (top + bottom) / 2
    drawing = Drawing(centre_x - width * unit / 2, centre_y - height * unit / 2,
                      width * unit, height * unit)
    return drawing, (width, height)
