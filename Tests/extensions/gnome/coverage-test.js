// Run by `gjs -m`.
import {coverOf} from '../../../extensions/gnome/coverage.js';

const kArea = {x: 0, y: 32, width: 1280, height: 768};
const kCases = [
    ['none', 'no window', []],
    ['covered', 'a maximized window', [[0, 32, 1280, 768]]],
    ['covered', 'a window that is larger', [[-50, -50, 3000, 3000]]],
    ['none', 'a window elsewhere', [[1280, 32, 1280, 768]]],
    ['none', 'a window in the middle', [[400, 300, 300, 200]]],
    ['none', 'one half', [[0, 32, 640, 768]]],
    ['covered', 'two halves', [[0, 32, 640, 768], [640, 32, 640, 768]]],
    ['covered', 'halves with a narrow gap', [[0, 32, 634, 768], [646, 32, 634, 768]]],
    ['none', 'halves with a gap that shows petals', [[0, 32, 630, 768], [650, 32, 630, 768]]],
    ['covered', 'four quarters that overlap',
        [[0, 0, 700, 500], [600, 0, 700, 500], [0, 400, 700, 500], [600, 400, 700, 500]]],
    ['none', 'a frame around a hole',
        [[0, 32, 1280, 200], [0, 600, 1280, 200], [0, 32, 200, 768], [1080, 32, 200, 768]]],
];

for (const [expected, name, rects] of kCases) {
    const found = coverOf(kArea, rects.map(([x, y, width, height]) => ({x, y, width, height})));
    if (found !== expected) {
        throw new Error(`${name}: ${found}, not ${expected}`);
    }
}
