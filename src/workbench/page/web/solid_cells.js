// SPDX-License-Identifier: GPL-3.0-or-later
// The cells that the picture in three dimensions shows, and which of their faces can be seen. Cells
// are numbered as in model files, from 0: depth fastest from the top, then easting, then northing.
// A face is 6 times the number of its cell plus its side; axes are easting, northing, elevation.

/**
 * @typedef {import('./decode.js').Mesh} Mesh
 * @typedef {import('./sections.js').Extent} Extent
 *
 * @typedef {[number, number, number]} Place  easting, northing, elevation (m)
 * @typedef {[number, number]} Range  the first index and one past the last
 * @typedef {{east: Range, north: Range, layers: Range}} Window  of cells; layers from the top
 */

const WEST = 0;
const EAST = 1;
const SOUTH = 2;
const NORTH = 3;
const BELOW = 4;
const ABOVE = 5;
export const SIDES = 6;

// Cells along an axis whose centres lie within the limits.
function cellsWithin(nodes, [from, to]) {
  const centres = nodes.slice(1).map((node, i) => (node + nodes[i]) / 2);
  const first = centres.findIndex((centre) => centre >= from);
  const past = centres.findIndex((centre) => centre > to);
  return [first < 0 ? centres.length : first, past < 0 ? centres.length : past];
}

/**
 * The cells whose centres lie within an extent.
 * @param {Mesh} mesh
 * @param {Extent} extent
 * @returns {Window}
 */
export function windowOf(mesh, extent) {
  const range = (name) => /** @type {Range} */ (cellsWithin(mesh.nodes[name], extent[name]));
  const [bottom, top] = range('elevation');
  const {layers} = mesh.counts;
  return {
    east: range('easting'),
    north: range('northing'),
    layers: [layers - top, layers - bottom],
  };
}

/**
 * The lowest and the highest corner of a window.
 * @param {Mesh} mesh
 * @param {Window} window
 * @returns {[Place, Place]}
 */
export function cornersOfWindow({nodes, counts}, {east, north, layers}) {
  const corner = (end) => /** @type {Place} */ ([
    nodes.easting[east[end]],
    nodes.northing[north[end]],
    nodes.elevation[counts.layers - layers[1 - end]],
  ]);
  return [corner(0), corner(1)];
}

/**
 * Cells of a window whose value is at least the threshold in magnitude; air has no value.
 * @param {Mesh} mesh
 * @param {Float64Array} values
 * @param {Window} window
 * @param {number} threshold
 */
export function cellsAbove(mesh, values, window, threshold) {
  const {east, layers} = mesh.counts;
  const cells = [];
  for (let j = window.north[0]; j < window.north[1]; ++j) {
    for (let i = window.east[0]; i < window.east[1]; ++i) {
      const column = layers * (i + east * j);
      for (let layer = window.layers[0]; layer < window.layers[1]; ++layer) {
        if (Math.abs(values[column + layer]) >= threshold) cells.push(column + layer);
      }
    }
  }
  return cells;
}

/**
 * The faces of these cells that no other of them covers.
 * @param {Mesh} mesh
 * @param {number[]} cells
 */
export function outerFaces(mesh, cells) {
  const {east, north, layers} = mesh.counts;
  const shown = new Uint8Array(east * north * layers);
  for (const cell of cells) shown[cell] = 1;
  const faces = [];
  for (const cell of cells) {
    const layer = cell % layers;
    const column = (cell - layer) / layers;
    const i = column % east;
    const j = (column - i) / east;
    if (i === 0 || !shown[cell - layers]) faces.push(SIDES * cell + WEST);
    if (i + 1 === east || !shown[cell + layers]) faces.push(SIDES * cell + EAST);
    if (j === 0 || !shown[cell - layers * east]) faces.push(SIDES * cell + SOUTH);
    if (j + 1 === north || !shown[cell + layers * east]) faces.push(SIDES * cell + NORTH);
    if (layer + 1 === layers || !shown[cell + 1]) faces.push(SIDES * cell + BELOW);
    if (layer === 0 || !shown[cell - 1]) faces.push(SIDES * cell + ABOVE);
  }
  return faces;
}

/**
 * The faces between ground and air within a window: the terrain, as the cells represent it.
 * @param {Mesh} mesh
 * @param {Window} window
 */
export function groundFaces(mesh, {east, north, layers}) {
  const faces = [];
  for (let j = north[0]; j < north[1]; ++j) {
    for (let i = east[0]; i < east[1]; ++i) {
      const column = i + mesh.counts.east * j;
      const top = mesh.tops[column];
      const face = (layer, side) => SIDES * (mesh.counts.layers * column + layer) + side;
      const step = (side, neighbour) => {
        const bottom = Math.min(mesh.tops[neighbour], layers[1]);
        for (let layer = Math.max(top, layers[0]); layer < bottom; ++layer)
          faces.push(face(layer, side));
      };
      if (top >= layers[0] && top < layers[1]) faces.push(face(top, ABOVE));
      if (i > east[0]) step(WEST, column - 1);
      if (i + 1 < east[1]) step(EAST, column + 1);
      if (j > north[0]) step(SOUTH, column - mesh.counts.east);
      if (j + 1 < north[1]) step(NORTH, column + mesh.counts.east);
    }
  }
  return faces;
}

/**
 * The faces as parallelograms: nine numbers each, the lowest corner less the origin and the two
 * edges from there, the second one anticlockwise of the first as seen from outside the cell.
 * @param {Mesh} mesh
 * @param {number[]} faces
 * @param {Place} origin
 */
export function parallelograms(mesh, faces, origin) {
  const {east, layers} = mesh.counts;
  const nodes = [mesh.nodes.easting, mesh.nodes.northing, mesh.nodes.elevation];
  const numbers = new Float32Array(9 * faces.length);
  const at = [0, 0, 0];
  faces.forEach((face, i) => {
    const side = face % SIDES;
    const cell = (face - side) / SIDES;
    const layer = cell % layers;
    const column = (cell - layer) / layers;
    at[0] = column % east;
    at[1] = (column - at[0]) / east;
    at[2] = layers - 1 - layer;
    const across = side >> 1;
    at[across] += side & 1;
    for (const axis of [0, 1, 2]) numbers[9 * i + axis] = nodes[axis][at[axis]] - origin[axis];
    for (const edge of [1, 2]) {
      const axis = (across + (side & 1 ? edge : 3 - edge)) % 3;
      numbers[9 * i + 3 * edge + axis] = nodes[axis][at[axis] + 1] - nodes[axis][at[axis]];
    }
  });
  return numbers;
}
