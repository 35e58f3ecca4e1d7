// SPDX-License-Identifier: GPL-3.0-or-later
// The box around the picture in three dimensions: grid lines on the sides behind what it shows, and
// the edges that have labels.
import {axesOfPicture, dot} from './solid_camera.js';
import {metres} from './text.js';

/**
 * @typedef {import('./solid_camera.js').Direction} Direction
 * @typedef {import('./solid_cells.js').Place} Place
 * @typedef {[Place, Place]} Box  its lowest and its highest corner
 * @typedef {[Place, Place]} Line  its ends
 *
 * @typedef {{text: string, at: Place}} Tick
 * @typedef {{name: string, ends: Line, ticks: Tick[]}} Axis
 */

const NAMES = ['Easting (m)', 'Northing (m)', 'Elevation (m)'];

// Round numbers from `low` to `high`, about six.
function roundNumbers(low, high) {
  const rough = (high - low) / 6;
  const power = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5].map((n) => n * power).find((s) => s >= rough) ?? 10 * power;
  const numbers = [];
  for (let n = Math.ceil(low / step); n * step <= high; ++n) numbers.push(n * step);
  return numbers;
}

// A place with some of its coordinates replaced.
function moved(place, ...changes) {
  const to = /** @type {Place} */ ([...place]);
  for (const [axis, value] of changes) to[axis] = value;
  return to;
}

// The corner of the box that is farthest away.
function farCorner([low, high], direction) {
  const {ahead} = axesOfPicture(direction);
  return /** @type {Place} */ (ahead.map((v, axis) => (v > 0 ? high : low)[axis]));
}

/**
 * Lines on the three sides of the box that lie behind it.
 * @param {Box} box
 * @param {Direction} direction
 */
export function linesOfBox(box, direction) {
  const [low, high] = box;
  const far = farCorner(box, direction);
  /** @type {Line[]} */
  const lines = [];
  for (const axis of [0, 1, 2]) {
    for (const value of [low[axis], ...roundNumbers(low[axis], high[axis]), high[axis]]) {
      for (const across of [0, 1, 2].filter((other) => other !== axis)) {
        const from = moved(far, [axis, value], [across, low[across]]);
        lines.push([from, moved(from, [across, high[across]])]);
      }
    }
  }
  return lines;
}

/**
 * An arrow to the north beyond the north-eastern corner of the lower side: its line from the foot
 * to the tip and two barbs, two places for each; nothing when one looks along it.
 * @param {Box} box
 * @param {Direction} direction
 */
export function northArrow([low, high], direction) {
  const {right, up} = axesOfPicture(direction);
  if (Math.hypot(right[1], up[1]) < 0.2) return [];
  const size = 0.06 * Math.max(high[0] - low[0], high[1] - low[1]);
  const foot = moved(high, [0, high[0] + size], [2, low[2]]);
  const tip = moved(foot, [1, foot[1] + size]);
  const barb = (side) => moved(tip, [0, tip[0] + side * size / 5], [1, tip[1] - size / 3]);
  return [[foot, tip], [tip, barb(-1)], [tip, barb(1)]];
}

/**
 * The edges with labels: of easting and northing the nearer ones of the lower side (of the upper
 * one from below), of elevation the one farthest to the left.
 * @param {Box} box
 * @param {Direction} direction
 * @returns {Axis[]}
 */
export function axesOfBox(box, direction) {
  const [low, high] = box;
  const {right} = axesOfPicture(direction);
  const far = farCorner(box, direction);
  /** @type {(axis: number, near: number) => Axis} */
  const axisAlong = (axis, near) => {
    const edge = moved(far, [near, low[near] + high[near] - far[near]]);
    const at = (value) => moved(edge, [axis, value]);
    return {
      name: NAMES[axis],
      ends: [at(low[axis]), at(high[axis])],
      ticks: roundNumbers(low[axis], high[axis])
                 .map((value) => ({text: metres(value), at: at(value)})),
    };
  };
  const [one, other] = [axisAlong(2, 0), axisAlong(2, 1)];
  const left = dot(right, one.ends[0]) < dot(right, other.ends[0]) ? one : other;
  return [axisAlong(0, 1), axisAlong(1, 0), left];
}
