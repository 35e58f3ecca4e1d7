// SPDX-License-Identifier: GPL-3.0-or-later
// The way along a survey line: how far along it each datum is, and which cells lie below it.

/**
 * @typedef {import('./decode.js').Mesh} Mesh
 * @typedef {import('./decode.js').Survey} Survey
 *
 * @typedef {object} Track
 * @property {number[]} at  distance (m) of each datum of the line, along straight lines between
 * them
 * @property {number[]} edges  distances (m) where the track enters and leaves columns of cells
 * @property {({easting: number, northing: number} | null)[]} columns  from each edge to the next:
 *     the indices of the column, null outside the mesh
 */

// Index of the cell that holds a coordinate, -1 outside; a face belongs to the cell after it.
function cellAt(nodes, coordinate) {
  const last = nodes.length - 1;
  if (coordinate === nodes[last]) return last - 1;
  if (!(coordinate >= nodes[0] && coordinate < nodes[last])) return -1;
  let [from, to] = [0, last];
  while (to - from > 1) {
    const middle = (from + to) >> 1;
    if (nodes[middle] <= coordinate)
      from = middle;
    else
      to = middle;
  }
  return from;
}

// Shares of the way from a to b at which it crosses nodes.
function crossings(nodes, a, b) {
  const [low, high] = [Math.min(a, b), Math.max(a, b)];
  return nodes.filter((node) => node > low && node < high).map((node) => (node - a) / (b - a));
}

/**
 * @param {Mesh} mesh
 * @param {Survey} survey
 * @param {number[]} data  indices of the data of a line, in order
 * @returns {Track}
 */
export function trackAlong(mesh, survey, data) {
  const {easting, northing} = mesh.nodes;
  /** @type {Track} */
  const track = {at: [0], edges: [0], columns: []};
  for (let i = 1; i < data.length; ++i) {
    const [x, y] = [survey.x[data[i - 1]], survey.y[data[i - 1]]];
    const [dx, dy] = [survey.x[data[i]] - x, survey.y[data[i]] - y];
    const start = track.at[i - 1];
    const length = Math.hypot(dx, dy);
    track.at.push(start + length);
    if (length === 0) continue;
    const cuts = [...crossings(easting, x, x + dx), ...crossings(northing, y, y + dy), 1];
    let from = 0;
    for (const to of cuts.sort((a, b) => a - b)) {
      const middle = (from + to) / 2;
      const e = cellAt(easting, x + middle * dx);
      const n = cellAt(northing, y + middle * dy);
      const before = track.columns[track.columns.length - 1];
      const same = track.columns.length > 0 && (before?.easting ?? -1) === e &&
          (before?.northing ?? -1) === n;
      if (same)
        track.edges.pop();
      else
        track.columns.push(e < 0 || n < 0 ? null : {easting: e, northing: n});
      track.edges.push(start + to * length);
      from = to;
    }
  }
  return track;
}
