const kSmallestGap = 16; // no petal is seen in a narrower one

function intersects(a, b) {
    return a.x < b.x + b.width && b.x < a.x + a.width &&
        a.y < b.y + b.height && b.y < a.y + a.height;
}

/** The parts of a rectangle, four at most, that another one leaves. */
function without(area, hole) {
    if (!intersects(area, hole)) {
        return [area];
    }
    const right = area.x + area.width;
    const bottom = area.y + area.height;
    const holeRight = hole.x + hole.width;
    const holeBottom = hole.y + hole.height;
    const top = Math.max(area.y, hole.y);
    const height = Math.min(bottom, holeBottom) - top;
    return [
        {x: area.x, y: area.y, width: area.width, height: hole.y - area.y},
        {x: area.x, y: holeBottom, width: area.width, height: bottom - holeBottom},
        {x: area.x, y: top, width: hole.x - area.x, height},
        {x: holeRight, y: top, width: right - holeRight, height},
    ].filter(part => part.width >= kSmallestGap && part.height >= kSmallestGap);
}

/** "covered" when the windows' rectangles hide all of the area, else "none". */
export function coverOf(area, rects) {
    let visible = [area];
    for (const rect of rects) {
        visible = [].concat(...visible.map(part => without(part, rect)));
    }
    return visible.length === 0 ? 'covered' : 'none';
}
