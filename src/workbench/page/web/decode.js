// SPDX-License-Identifier: GPL-3.0-or-later
// The data that the page carries: base64 of deflated bytes, in script elements that no browser
// runs.

/**
 * @typedef {'easting' | 'northing' | 'elevation'} AxisName
 *
 * @typedef {object} Mesh
 * @property {Record<AxisName, number[]>} nodes  coordinates (m) of the cell faces, increasing
 * @property {number[]} tops  air cells of each column, easting fastest
 * @property {{east: number, north: number, layers: number}} counts  cells along each axis
 *
 * @typedef {object} Stations  one value per datum
 * @property {number[]} x  easting (m)
 * @property {number[]} y  northing (m)
 * @property {number[]} z  elevation (m)
 *
 * @typedef {object} Data  likewise
 * @property {number[]} observed  nT
 * @property {number[]} deviation  standard deviation (nT)
 * @property {{name: string, data: number[]}[]} lines  indices of the data along each
 * @property {boolean} named  whether the observations name the lines
 * @property {string[]} fiducials  one per datum, or none
 * @property {boolean} strip  whether the survey is one line, or much longer than wide
 *
 * @typedef {Stations & Data} Survey
 *
 * @typedef {object} IterationRow
 * @property {number} number  from 1
 * @property {number} beta
 * @property {number} misfit
 * @property {number} norm  of the model
 * @property {string} modelFile
 *
 * @typedef {object} Run  the payload of the page
 * @property {Mesh} mesh
 * @property {Survey} survey
 * @property {number | null} target  misfit; null when beta was kept
 * @property {number} fileDigits  of the susceptibilities in a model file
 * @property {IterationRow[]} iterations
 * @property {number[]} held  numbers of the iterations whose models the page holds
 *
 * @typedef {object} HeldModel
 * @property {string} name
 * @property {string} unit  "SI"; empty for codes and weights
 *
 * @typedef {object} Models  the payload of the page of models
 * @property {Mesh} mesh
 * @property {Stations} stations  which may be none
 * @property {number} fileDigits
 * @property {HeldModel[]} models
 */

/**
 * The row of the iteration of that number.
 * @param {Run} run
 * @param {number} number
 */
export function rowOf(run, number) {
  const row = run.iterations.find((r) => r.number === number);
  if (!row) throw new Error(`The run has no iteration ${number}.`);
  return row;
}

/**
 * The bytes that a script element carries.
 * @param {string} base64
 */
export async function inflate(base64) {
  const text = atob(base64.trim());
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = text.charCodeAt(i);
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

/**
 * The text that a script element carries.
 * @param {string} base64
 */
export async function inflateText(base64) {
  return new TextDecoder().decode(await inflate(base64));
}

const NO_VALUE = 0xffffffff;

// The number that a code stands for: a decimal of `digits` digits, exactly as its text would be
// read. Codes count such decimals upward from the smallest one of 10^firstExponent; even codes are
// positive, odd ones negative, 0 is zero.
function decimal(code, digits, firstExponent) {
  if (code === NO_VALUE) return NaN;
  const size = Math.floor((code + 1) / 2);
  if (size === 0) return 0;
  const decade = 9 * 10 ** (digits - 1);
  const exponent = firstExponent + Math.floor((size - 1) / decade) - (digits - 1);
  const whole = 10 ** (digits - 1) + ((size - 1) % decade);
  const value = exponent < 0 ? whole / 10 ** -exponent : whole * 10 ** exponent;
  return code % 2 === 0 ? value : -value;
}

/**
 * One value per cell in cell order (depth fastest from the top, then easting, then northing); NaN
 * in air. The bytes hold the ground cells, the lowest bytes of all codes first, the highest last.
 * @param {Uint8Array} bytes
 * @param {number} digits
 * @param {number} firstExponent
 * @param {Mesh} mesh
 */
export function decodeModel(bytes, digits, firstExponent, mesh) {
  const {east, north, layers} = mesh.counts;
  const count = bytes.length / 4;
  const values = new Float64Array(east * north * layers).fill(NaN);
  let next = 0;
  for (let column = 0; column < east * north; ++column) {
    for (let layer = mesh.tops[column]; layer < layers; ++layer, ++next) {
      let code = 0;
      for (let plane = 3; plane >= 0; --plane) code = 256 * code + bytes[next + plane * count];
      values[column * layers + layer] = decimal(code, digits, firstExponent);
    }
  }
  if (next !== count) throw new Error(`The model has ${count} cells, the mesh ${next}.`);
  return values;
}
