// SPDX-License-Identifier: GPL-3.0-or-later
// Labels of the picture in three dimensions, which do not cover one another.
import {axesOfBox, northArrow} from './solid_axes.js';
import {byId} from './text.js';

/**
 * @typedef {import('./solid_axes.js').Axis} Axis
 * @typedef {import('./solid_axes.js').Box} Box
 * @typedef {import('./solid_camera.js').Direction} Direction
 * @typedef {import('./solid_cells.js').Place} Place
 *
 * @typedef {[number, number]} Pixel  from the left and from the top
 * @typedef {(place: Place) => Pixel} OnScreen
 * @typedef {{text: string, at: Pixel}} Label  with the middle of the text
 */

const GAP = 8;             // between edge, ticks and name (pixels)
const HALF_HEIGHT = 8;     // of a text
const SHORTEST_AXIS = 60;  // that has labels

const halfWidth = (text) => 3.6 * text.length + 2;
const length = (from, to) => Math.hypot(to[0] - from[0], to[1] - from[1]);
const minus = (to, from) => [to[0] - from[0], to[1] - from[1]];

/** @returns {Pixel} */
const beyond = (pixel, by, out) => [pixel[0] + by * out[0], pixel[1] + by * out[1]];

/**
 * The ticks next to their edge, and the name beyond them.
 * @param {Axis} axis
 * @param {OnScreen} onScreen
 * @param {Pixel} middle  of the box, from which labels are on the far side of their edge
 * @returns {Label[]}
 */
function labelsOfAxis({name, ends, ticks}, onScreen, middle) {
  const [from, to] = ends.map(onScreen);
  const size = length(from, to);
  if (size < SHORTEST_AXIS) return [];
  const centre = /** @type {Pixel} */ ([(from[0] + to[0]) / 2, (from[1] + to[1]) / 2]);
  const across = [(to[1] - from[1]) / size, (from[0] - to[0]) / size];
  const inward = across[0] * (middle[0] - centre[0]) + across[1] * (middle[1] - centre[1]) > 0;
  const out = across.map((v) => (inward ? -v : v));
  const half = (text) => Math.abs(out[0]) * halfWidth(text) + Math.abs(out[1]) * HALF_HEIGHT;
  const labels =
      ticks.map(({text, at}) => ({text, at: beyond(onScreen(at), GAP + half(text), out)}));
  const widest = Math.max(...ticks.map(({text}) => half(text)));
  return [{text: name, at: beyond(centre, 2 * GAP + 2 * widest + half(name), out)}, ...labels];
}

/**
 * Writes what labels there is room for.
 * @param {Box} box
 * @param {Direction} direction
 * @param {OnScreen} onScreen
 * @param {number} width  of the picture in pixels, over whose sides no text goes
 */
export function placeLabels(box, direction, onScreen, width) {
  const [low, high] = box;
  const middle = onScreen(/** @type {Place} */ (low.map((v, axis) => (v + high[axis]) / 2)));
  const labels = axesOfBox(box, direction).flatMap((axis) => labelsOfAxis(axis, onScreen, middle));
  const [arrow] = northArrow(box, direction);
  if (arrow) {
    const [foot, tip] = arrow.map(onScreen);
    labels.unshift({text: 'N', at: beyond(tip, 12 / length(foot, tip), minus(tip, foot))});
  }
  /** @type {Label[]} */
  const placed = [];
  for (const label of labels) {
    const half = halfWidth(label.text);
    label.at[0] = Math.min(Math.max(label.at[0], half), width - half);
    const free = placed.every(
        ({text, at}) => Math.abs(at[1] - label.at[1]) > 2 * HALF_HEIGHT ||
            Math.abs(at[0] - label.at[0]) > halfWidth(text) + half);
    if (free) placed.push(label);
  }
  byId('solid-labels').replaceChildren(...placed.map(({text, at}) => {
    const span = document.createElement('span');
    span.textContent = text;
    span.style.left = `${at[0]}px`;
    span.style.top = `${at[1]}px`;
    return span;
  }));
}
