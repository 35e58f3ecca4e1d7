// SPDX-License-Identifier: GPL-3.0-or-later
// The sections through the model: where they meet, and the controls of what they show.
import {ABOUT_ZERO, PALETTES, redrawOnResize} from './plots.js';
import {
  cellAtDepth,
  cellOf,
  cellsAlong,
  describeCell,
  drawSections,
  placeCrosshair,
  redrawCells,
  SECTION_IDS,
  SECTIONS,
  surfaceOf,
} from './sections.js';
import {byId, extremes, figures, metres, span} from './text.js';

/**
 * @typedef {import('./decode.js').AxisName} AxisName
 * @typedef {import('./decode.js').Mesh} Mesh
 * @typedef {import('./decode.js').Stations} Stations
 * @typedef {import('./sections.js').Cell} Cell
 * @typedef {import('./sections.js').Extent} Extent
 * @typedef {import('./sections.js').ModelView} ModelView
 * @typedef {import('./sections.js').SectionId} SectionId
 *
 * @typedef {Pick<ModelView,
 *     'range' | 'palette' | 'scaling' | 'low' | 'high' | 'threshold'>} Colours
 */

const EXAGGERATIONS = [1, 2, 5, 10, 20];

/** @type {AxisName[]} */
const AXES = ['easting', 'northing', 'elevation'];

/** @param {ModelView} view */
function describeSliders(view) {
  const cells = {easting: 'column', northing: 'row', elevation: 'layer'};
  for (const name of AXES) {
    const nodes = view.mesh.nodes[name];
    const i = view.at[name];
    const count = nodes.length - 1;
    const number = name === 'elevation' ? count - i : i + 1;
    const text = `${span(nodes[i], nodes[i + 1])}, ${cells[name]} ${number} of ${count}`;
    byId(`at-${name}`).textContent = text;
    byId(`slide-${name}`).value = i + 1;
    byId(`slide-${name}`).setAttribute('aria-valuetext', text);
  }
  if (view.depth !== null) {
    const text = `${metres(view.depth)} m below the ground`;
    byId('at-depth').textContent = text;
    byId('slide-depth').value = view.depth;
    byId('slide-depth').setAttribute('aria-valuetext', text);
  }
  describeCell(view, view.at, byId('at-crosshair'));
}

/**
 * The same place with the depth of the horizontal section where that is what is kept: a place
 * above or below it changes the depth.
 * @param {ModelView} view
 * @param {Partial<Cell>} place
 */
function keepDepth(view, place) {
  const {mesh, depth} = view;
  if (depth === null) return place;
  const column = {...view.at, ...place};
  if (place.elevation !== undefined) {
    const nodes = mesh.nodes.elevation;
    const centre = (nodes[place.elevation] + nodes[place.elevation + 1]) / 2;
    view.depth = Math.max(surfaceOf(mesh, column) - centre, 0);
    if (view.depth !== depth) view.moved.add('depth');
  }
  return {...place, elevation: Math.max(cellAtDepth(mesh, column, view.depth ?? 0), 0)};
}

/**
 * Moves the place where the sections meet; sections whose cells change are drawn again, at most
 * once per frame.
 * @param {ModelView} view
 * @param {Partial<Cell>} place
 */
function moveTo(view, place) {
  const kept = keepDepth(view, place);
  for (const name of AXES) {
    const i = kept[name] ?? view.at[name];
    if (view.at[name] === i) continue;
    view.at[name] = i;
    view.moved.add(name);
  }
  if (view.moved.size === 0 || view.frame) return;
  view.frame = requestAnimationFrame(() => {
    view.frame = 0;
    for (const id of SECTION_IDS) {
      const fixed = id === 'plan' && view.depth !== null ? 'depth' : SECTIONS[id].fixed;
      if (view.moved.has(fixed)) redrawCells(view, id);
      placeCrosshair(view, id);
    }
    view.moved.clear();
    describeSliders(view);
  });
}

/**
 * Moves the horizontal section to a depth below the ground, or back to an elevation.
 * @param {ModelView} view
 * @param {number | null} depth
 */
function cutAtDepth(view, depth) {
  view.depth = depth;
  view.moved.add('depth').add('elevation');
  moveTo(view, {});
}

/**
 * Only positive values have a logarithm.
 * @param {ModelView} view
 */
function allowLogarithm(view) {
  const log = byId('scaling').querySelector('option[value="log"]');
  log.disabled = !(view.range[1] > 0);
  log.textContent = log.disabled ? 'logarithmic (no value is positive)' : 'logarithmic';
  if (log.disabled) view.scaling = 'linear';
}

/**
 * Sets the range of the colours to that of the values. On a logarithmic axis, which needs a
 * positive value, it begins at a thousandth of the maximum; colours about zero reach as far on
 * either side.
 * @param {ModelView} view
 */
function resetRange(view) {
  const [min, max] = view.range;
  allowLogarithm(view);
  view.high = max > min ? max : min + Math.max(Math.abs(min), 1e-6);
  view.low = view.scaling === 'log' ? Math.max(min, view.high / 1000) : min;
  if (view.palette === ABOUT_ZERO) setSymmetric(view, Math.max(-min, max));
  byId('scaling').value = view.scaling;
  showRange(view);
}

/**
 * @param {ModelView} view
 * @param {number} size
 */
function setSymmetric(view, size) {
  view.high = Math.abs(size) || view.high;
  view.low = -view.high;
}

/** @param {ModelView} view */
function showRange(view) {
  byId('range-low').value = figures(view.low, 4);
  byId('range-high').value = figures(view.high, 4);
}

/**
 * Extents to choose from: the whole mesh, or the stations with a rim and the upper part of the mesh
 * below them.
 * @param {Mesh} mesh
 * @param {Stations} survey
 * @returns {{mesh: Extent, survey: Extent}}
 */
function extentsOf(mesh, survey) {
  /** @type {(nodes: number[]) => [number, number]} */
  const ends = (nodes) => [nodes[0], nodes[nodes.length - 1]];
  const whole = {
    easting: ends(mesh.nodes.easting),
    northing: ends(mesh.nodes.northing),
    elevation: ends(mesh.nodes.elevation),
  };
  const length = ([from, to]) => to - from;
  const box = {easting: extremes(survey.x), northing: extremes(survey.y)};
  const longest = Math.max(length(box.easting), length(box.northing));
  const rim = longest > 0 ? 0.12 * longest : Infinity;
  const depth = longest > 0 ? 0.7 * longest : Infinity;
  /** @type {(name: 'easting' | 'northing') => [number, number]} */
  const around = (name) =>
      [Math.max(whole[name][0], box[name][0] - rim),
       Math.min(whole[name][1], box[name][1] + rim),
  ];
  const [bottom, top] = whole.elevation;
  /** @type {Extent} */
  const near = {
    easting: around('easting'),
    northing: around('northing'),
    elevation: [Math.max(bottom, top - depth), top],
  };
  const good = Object.values(near).every((range) => length(range) > 0);
  return {mesh: whole, survey: good ? near : whole};
}

/**
 * The largest of the exaggerations with which a vertical section fits its plot.
 * @param {Extent} extent
 */
function fittingExaggeration({easting, northing, elevation}) {
  const width = Math.max(easting[1] - easting[0], northing[1] - northing[0]);
  const height = elevation[1] - elevation[0];
  return EXAGGERATIONS.filter((e) => e * height <= 0.45 * width).pop() ?? 1;
}

/**
 * The cells within the extent where the value of `of` is largest.
 * @param {Mesh} mesh
 * @param {Float64Array} values
 * @param {Extent} extent
 * @param {(value: number) => number} of
 */
function largestCells(mesh, values, extent, of) {
  const inside = (name, i) => {
    const nodes = mesh.nodes[name];
    const centre = (nodes[i] + nodes[i + 1]) / 2;
    return centre >= extent[name][0] && centre <= extent[name][1];
  };
  const at = {easting: 0, northing: 0, elevation: 0};
  /** @type {Cell[]} */
  let cells = [];
  let max = -Infinity;
  for (at.northing = 0; at.northing < mesh.counts.north; ++at.northing) {
    if (!inside('northing', at.northing)) continue;
    for (at.easting = 0; at.easting < mesh.counts.east; ++at.easting) {
      if (!inside('easting', at.easting)) continue;
      for (at.elevation = 0; at.elevation < mesh.counts.layers; ++at.elevation) {
        const value = of(values[cellOf(mesh, at)]);
        if (value > max) [cells, max] = [[], value];
        if (value === max) cells.push({...at});
      }
    }
  }
  return cells;
}

/**
 * That of the largest cells which is nearest to their middle.
 * @param {Mesh} mesh
 * @param {Float64Array} values
 * @param {Extent} extent
 * @param {(value: number) => number} of
 * @returns {Cell}
 */
function startingPlace(mesh, values, extent, of) {
  const cells = largestCells(mesh, values, extent, of);
  const middle = AXES.map((name) => cells.reduce((sum, at) => sum + at[name], 0) / cells.length);
  const distance = (at) => Math.hypot(...AXES.map((name, axis) => at[name] - middle[axis]));
  let nearest = {easting: 0, northing: 0, elevation: 0};
  let least = Infinity;
  for (const at of cells) {
    const away = distance(at);
    if (away < least) [nearest, least] = [at, away];
  }
  return nearest;
}

// A step of 1, 2 or 5 times a power of ten, at most half of the thinnest layer.
function depthStep(mesh) {
  const nodes = mesh.nodes.elevation;
  const half = Math.min(...nodes.slice(1).map((node, i) => node - nodes[i])) / 2;
  const unit = 10 ** Math.floor(Math.log10(half));
  return unit * (half >= 5 * unit ? 5 : half >= 2 * unit ? 2 : 1);
}

/** @param {ModelView} view */
function listenToDepth(view) {
  const {mesh} = view;
  const slider = byId('slide-depth');
  slider.step = depthStep(mesh);
  slider.max =
      mesh.nodes.elevation[mesh.counts.layers - Math.min(...mesh.tops)] - mesh.nodes.elevation[0];
  slider.addEventListener('input', () => cutAtDepth(view, Number(slider.value)));
  byId('level').addEventListener('change', () => {
    const below = byId('level').value === 'depth';
    slider.hidden = byId('at-depth').hidden = !below;
    byId('slide-elevation').hidden = byId('at-elevation').hidden = below;
    const {elevation} = mesh.nodes;
    const centre = (elevation[view.at.elevation] + elevation[view.at.elevation + 1]) / 2;
    const step = Number(slider.step);
    const depth = Math.max(surfaceOf(mesh, view.at) - centre, 0);
    cutAtDepth(view, below ? Math.round(depth / step) * step : null);
  });
}

/** @param {ModelView} view */
function listenToSliders(view) {
  for (const name of AXES) {
    const slider = byId(`slide-${name}`);
    slider.max = cellsAlong(view.mesh, name);
    slider.addEventListener('input', () => moveTo(view, {[name]: Number(slider.value) - 1}));
  }
}

/**
 * The cells under the pointer, null outside the plot. Air has no cells that the plot would report,
 * so the place is computed from the axes.
 * @param {ModelView} view
 * @param {SectionId} id
 * @param {PointerEvent} event
 * @returns {Partial<Cell> | null}
 */
function cellsUnder(view, id, event) {
  const {left, top, width, height} = byId(id).querySelector('.nsewdrag').getBoundingClientRect();
  const [across, up] = [(event.clientX - left) / width, 1 - (event.clientY - top) / height];
  if (!(across >= 0 && across <= 1 && up >= 0 && up <= 1)) return null;
  const cellAt = (name, [from, to], share) => {
    const coordinate = from + share * (to - from);
    const next = view.mesh.nodes[name].findIndex((node) => node > coordinate);
    return Math.min(Math.max(next - 1, 0), cellsAlong(view.mesh, name) - 1);
  };
  const {xaxis, yaxis} = byId(id).layout;
  const section = SECTIONS[id];
  return {
    [section.across]: cellAt(section.across, xaxis.range, across),
    [section.up]: cellAt(section.up, yaxis.range, up),
  };
}

/**
 * The cell that a section shows at that place.
 * @param {ModelView} view
 * @param {SectionId} id
 * @param {Partial<Cell>} cells
 * @returns {Cell}
 */
function cellShown(view, id, cells) {
  const at = {...view.at, ...cells};
  if (id === 'plan' && view.depth !== null) at.elevation = cellAtDepth(view.mesh, at, view.depth);
  return at;
}

/**
 * @param {ModelView} view
 * @param {SectionId} id
 */
function listenToSection(view, id) {
  const plot = byId(id);
  const describeCellUnder = (event) => {
    const cells = cellsUnder(view, id, event);
    if (cells) describeCell(view, cellShown(view, id, cells), byId('at-pointer'));
  };
  plot.addEventListener('pointermove', describeCellUnder);
  plot.addEventListener('pointerdown', (down) => {
    // A finger comes down without having moved there.
    const cells = down.target.matches('.nsewdrag') ? cellsUnder(view, id, down) : null;
    describeCellUnder(down);
    window.addEventListener('pointerup', (up) => {
      const dragged = Math.hypot(up.clientX - down.clientX, up.clientY - down.clientY) > 3;
      if (!dragged && cells && up.pointerId === down.pointerId) moveTo(view, cells);
    }, {once: true});
  });
  plot.on('plotly_afterplot', () => placeCrosshair(view, id));
  plot.on('plotly_relayouting', () => {
    for (const line of plot.parentElement.querySelectorAll('.cross')) line.hidden = true;
  });
}

/** @param {ModelView} view */
function listenToControls(view) {
  /** @type {(id: string, set: (input: any) => void) => void} */
  const on = (id, set) => byId(id).addEventListener('change', () => {
    set(byId(id));
    drawSections(view);
  });
  on('palette', (input) => {
    const reset = [view.palette, input.value].includes(ABOUT_ZERO);
    view.palette = input.value;
    if (!reset) return;
    view.scaling = 'linear';
    resetRange(view);
  });
  on('extent', (input) => {
    view.extent = input.value;
  });
  on('exaggeration', (input) => {
    view.exaggeration = Number(input.value);
  });
  on('stations', (input) => {
    view.stations = input.checked;
  });
  on('threshold', (input) => {
    view.threshold = Number(input.value) || 0;
  });
  byId('crosshair').addEventListener('change', () => {
    byId('model').classList.toggle('without-crosshair', !byId('crosshair').checked);
  });
  on('scaling', (input) => {
    view.scaling = input.value;
    if (view.scaling === 'log' && view.palette === ABOUT_ZERO) {
      view.palette = byId('palette').value = 'viridis';
    }
    resetRange(view);
  });
  const setRange = (input) => {
    const low = Number(byId('range-low').value);
    const high = Number(byId('range-high').value);
    if (view.palette === ABOUT_ZERO)
      setSymmetric(view, Number(input.value));
    else if (high > low && (view.scaling === 'linear' || low > 0))
      Object.assign(view, {low, high});
    showRange(view);
  };
  on('range-low', setRange);
  on('range-high', setRange);
  on('opacity', (input) => {
    view.opacity = Number(input.value) / 100;
  });
  byId('opacity').addEventListener('input', () => {
    byId('opacity-note').value = `${byId('opacity').value} %`;
  });
  byId('range-reset').addEventListener('click', () => {
    resetRange(view);
    drawSections(view);
  });
}

// More than rounding on either side of zero.
const hasBothSigns = ([min, max]) => Math.min(-min, max) > 0.05 * Math.max(-min, max);

/**
 * The colours that values have at first.
 * @param {Float64Array} values
 * @param {string} unit
 * @returns {Colours}
 */
function firstColours(values, unit) {
  const range = extremes(values);
  return {
    range,
    palette: unit !== '' && hasBothSigns(range) ? ABOUT_ZERO : 'viridis',
    scaling: 'linear',
    low: range[0],
    high: range[1],
    threshold: 0,
  };
}

/** @param {ModelView} view */
function showUnit({unit}) {
  for (const element of document.querySelectorAll('.unit')) element.textContent = unit;
}

/**
 * Draws the sections of the first model shown and listens to the controls.
 * @param {Mesh} mesh
 * @param {Stations} survey
 * @param {Float64Array} values  of every cell, NaN where it has none
 * @param {string} [unit]  of the values
 * @param {(value: number) => number} [of]  largest in the cells where the sections meet at first
 */
export async function startModelView(mesh, survey, values, unit = 'SI', of = (value) => value) {
  const extents = extentsOf(mesh, survey);
  /** @type {ModelView} */
  const view = {
    mesh,
    survey,
    values,
    unit,
    at: startingPlace(mesh, values, extents.survey, of),
    moved: new Set(),
    frame: 0,
    extents,
    extent: 'survey',
    exaggeration: fittingExaggeration(extents.survey),
    stations: false,
    depth: null,
    ...firstColours(values, unit),
    opacity: 0.15,
  };
  for (const element of document.querySelectorAll('.of-stations'))
    element.toggleAttribute('hidden', survey.x.length === 0);
  byId('palette').replaceChildren(...Object.keys(PALETTES).map((name) => new Option(name, name)));
  byId('palette').value = view.palette;
  byId('exaggeration').value = view.exaggeration;
  showUnit(view);
  resetRange(view);
  await drawSections(view);
  listenToSliders(view);
  listenToDepth(view);
  redrawOnResize(() => drawSections(view));
  for (const id of SECTION_IDS) listenToSection(view, id);
  listenToControls(view);
  for (const id of SECTION_IDS) placeCrosshair(view, id);
  describeSliders(view);
  return view;
}

/**
 * Draws the sections of another iteration.
 * @param {ModelView} view
 * @param {Float64Array} values  susceptibility (SI) of every cell, NaN in air
 */
export function showModel(view, values) {
  view.values = values;
  describeSliders(view);
  return drawSections(view);
}

/**
 * The colours that the view has now.
 * @param {ModelView} view
 * @returns {Colours}
 */
export const coloursOf = ({range, palette, scaling, low, high, threshold}) =>
    ({range, palette, scaling, low, high, threshold});

/**
 * Draws the sections of a model with a range and colours of its own.
 * @param {ModelView} view
 * @param {Float64Array} values  of every cell, NaN where it has none
 * @param {string} unit  of the values
 * @param {Colours} [colours]  those that it had before
 */
export async function replaceModel(view, values, unit, colours) {
  Object.assign(view, {values, unit}, colours ?? firstColours(values, unit));
  byId('palette').value = view.palette;
  byId('threshold').value = view.threshold || '';
  showUnit(view);
  if (colours) {
    allowLogarithm(view);
    byId('scaling').value = view.scaling;
    showRange(view);
  } else {
    resetRange(view);
  }
  describeSliders(view);
  await drawSections(view);
  byId('model').dispatchEvent(new Event('replaced'));
}
