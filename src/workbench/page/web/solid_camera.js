// SPDX-License-Identifier: GPL-3.0-or-later
// From where the picture in three dimensions is seen. Places are metres east, north and up of the
// middle of the picture. The projection is parallel: lengths in one direction have one scale
// everywhere, and from above, from the south or from the east the picture is a map or a section.

/**
 * @typedef {import('./solid_cells.js').Place} Place
 *
 * @typedef {object} Direction  in which one looks
 * @property {number} turn  azimuth, degrees clockwise from north
 * @property {number} tilt  of the eye above the horizon, degrees; negative below
 *
 * @typedef {Direction & {height: number, target: Place}} Camera  the height of the picture (m), and
 *     what is in its middle
 */

const POINTS = 'north, north-north-east, north-east, east-north-east, east, east-south-east, ' +
    'south-east, south-south-east, south, south-south-west, south-west, west-south-west, west, ' +
    'west-north-west, north-west, north-north-west';

/**
 * Unit vectors to the right and upward in the picture, and into it.
 * @param {Direction} direction
 * @returns {{right: Place, up: Place, ahead: Place}}
 */
export function axesOfPicture({turn, tilt}) {
  const [t, p] = [turn * Math.PI / 180, tilt * Math.PI / 180];
  return {
    right: [Math.cos(t), -Math.sin(t), 0],
    up: [Math.sin(t) * Math.sin(p), Math.cos(t) * Math.sin(p), Math.cos(p)],
    ahead: [Math.sin(t) * Math.cos(p), Math.cos(t) * Math.cos(p), -Math.sin(p)],
  };
}

/**
 * @param {Place} a
 * @param {Place} b
 */
export const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];

/**
 * The height (m) of a picture that holds a box around the middle, with room for labels.
 * @param {Direction} direction
 * @param {Place} half  of the sides of the box
 * @param {[number, number]} size  width and height of the picture in pixels
 */
export function fittingHeight(direction, half, [width, height]) {
  const {right, up} = axesOfPicture(direction);
  const reach = (axis) => 2 * dot(/** @type {Place} */ (axis.map(Math.abs)), half);
  const room = (pixels, margin) => pixels - 2 * Math.min(margin, pixels / 5);
  return height * Math.max(reach(up) / room(height, 60), reach(right) / room(width, 130));
}

/**
 * The matrix of the projection, by columns: four numbers for east, north, up and 1 each.
 * @param {Camera} camera
 * @param {number} aspect  width / height of the picture
 * @param {number} radius  of a sphere around the middle that holds all that is drawn
 */
export function projection(camera, aspect, radius) {
  const {right, up, ahead} = axesOfPicture(camera);
  const depth = radius + Math.hypot(...camera.target);
  const column =
      (x, y, z) => [2 * x / (camera.height * aspect), 2 * y / camera.height, z / depth, 0];
  const columns = [0, 1, 2].map((axis) => column(right[axis], up[axis], ahead[axis]));
  const {target} = camera;
  columns.push(column(-dot(right, target), -dot(up, target), -dot(ahead, target)));
  columns[3][3] = 1;
  return new Float32Array(columns.flat());
}

/**
 * Where a place is in the picture, from 0 to 1 from its left and upper edge.
 * @param {Float32Array} matrix  of the projection
 * @param {Place} place
 * @returns {[number, number]}
 */
export function placeInPicture(matrix, place) {
  const [x, y] = [0, 1].map(
      (row) => dot([matrix[row], matrix[4 + row], matrix[8 + row]], place) + matrix[12 + row]);
  return [(1 + x) / 2, (1 - y) / 2];
}

/**
 * "Seen from the south-west, 30° above the horizon."
 * @param {Direction} direction
 */
export function describeDirection({turn, tilt}) {
  const height = Math.round(Math.abs(tilt));
  const side = tilt > 0 ? 'above' : 'below';
  if (height > 85) return `Seen from ${side}, azimuth ${Math.round(turn)}\u00b0 up.`;
  const from = POINTS.split(', ')[Math.round((turn + 180) / 22.5) % 16];
  const level = height === 0 ? 'level' : `${height}\u00b0 ${side} the horizon`;
  return `Seen from the ${from}, ${level}.`;
}
