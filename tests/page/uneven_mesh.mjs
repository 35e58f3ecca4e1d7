// SPDX-License-Identifier: GPL-3.0-or-later
// A mesh of which no length, width or count occurs twice, below ground that slopes both ways: a
// section that is transposed, mirrored or off by a layer shows wrong values.
import {writeFileSync} from 'node:fs';

export const WIDTHS = {
  easting: [100, 50, 60, 70, 110, 200],
  northing: [80, 40, 55, 45, 90],
  elevation: [8, 6, 9, 7, 20, 40, 85],
};
export const ORIGIN = {
  easting: 1000,
  northing: 2000,
  elevation: 110,
};

/** Writes mesh.txt and terrain.txt. */
export function writeMesh(file) {
  const list = (name) => WIDTHS[name].join(' ');
  writeFileSync(
      file('mesh.txt'),
      `6 5 7\n1000 2000 110\n${list('easting')}\n${list('northing')}\n${list('elevation')}\n`);
  writeFileSync(
      file('terrain.txt'), '4\n1000 2000 72\n1600 2000 112\n1000 2320 92\n1600 2320 108\n');
}

// Edges of the cells along an axis, upward; layers are counted from the top in the files.
export function edges(name) {
  const sign = name === 'elevation' ? -1 : 1;
  const result = [ORIGIN[name]];
  for (const width of WIDTHS[name]) result.push(result.at(-1) + sign * width);
  return result;
}

// The value of the file at a place, found from the widths alone.
export function valueAt(values, place) {
  const index = (name) => edges(name).slice(1).findIndex((edge, i) => {
    const before = edges(name)[i];
    return place[name] > Math.min(edge, before) && place[name] < Math.max(edge, before);
  });
  return values[index('elevation') + 7 * (index('easting') + 6 * index('northing'))];
}

export const centres = (name) =>
    WIDTHS[name].map((_, i) => (edges(name)[i] + edges(name)[i + 1]) / 2);
