// SPDX-License-Identifier: GPL-3.0-or-later
// The data that the page carries: base64 of deflated bytes, in script elements that are no scripts.
'use strict';

async function inflate(base64) {
  const text = atob(base64.trim());
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = text.charCodeAt(i);
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

async function inflateText(base64) {
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

// One value a cell in cell order (depth fastest from the top, then easting, then northing); NaN
// where there is air. The bytes hold the cells below the tops of their columns, all lowest bytes of
// the codes first, all highest last.
function decodeModel(bytes, digits, firstExponent, mesh) {
  const {east, north, layers} = mesh.counts;
  const count = bytes.length / 4;
  const values = new Float64Array(east * north * layers).fill(NaN);
  let next = 0;
  for (let column = 0; column < east * north; ++column) {
    for (let layer = mesh.tops[column]; layer < layers; ++layer, ++next) {
      const code = bytes[next] + 256 * (bytes[next + count] + 256 * (bytes[next + 2 * count] +
        256 * bytes[next + 3 * count]));
      values[column * layers + layer] = decimal(code, digits, firstExponent);
    }
  }
  if (next !== count) throw new Error(`The model has ${count} cells, the mesh ${next}.`);
  return values;
}
