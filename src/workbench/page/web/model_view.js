// SPDX-License-Identifier: GPL-3.0-or-later
// The sections through the model: where they meet, and the controls of what they show.
import {PALETTES} from './plots.js';
import {
  cellOf,
  cellsAlong,
  drawSections,
  placeCrosshair,
  redrawCells,
  SECTION_IDS,
  SECTIONS,
} from './sections.js';
import {byId, extremes, figures, span} from './text.js';

/**
 * @typedef {import('./decode.js').AxisName} AxisName
 * @typedef {import('./decode.js').Mesh} Mesh
 * @typedef {import('./decode.js').Survey} Survey
 * @typedef {import('./sections.js').Cell} Cell
 * @typedef {import('./sections.js').Extent} Extent
 * @typedef {import('./sections.js').ModelView} ModelView
 * @typedef {import('./sections.js').SectionId} SectionId
 */

const EXAGGERATIONS = [1, 2, 5, 10, 20];

/** @type {AxisName[]} */
const AXES = ['easting', 'northing', 'elevation'];

/**
 * @param {ModelView} view
 * @param {Cell} at
 * @param {Element} place  of the text
 */
function describeCell(view, at, place) {
  const {mesh} = view;
  const value = view.values[cellOf(mesh, at)];
  const edges = (name) => span(mesh.nodes[name][at[name]], mesh.nodes[name][at[name] + 1]);
  const strong = document.createElement('strong');
  strong.textContent = Number.isNaN(value) ? 'air' : `${figures(value)} SI`;
  const position = `column ${at.easting + 1}, row ${at.northing + 1}, ` +
      `layer ${mesh.counts.layers - at.elevation} (cell ${cellOf(mesh, at) + 1})`;
  place.replaceChildren(
      strong,
      ` \u00b7 easting ${edges('easting')} \u00b7 northing ${edges('northing')}` +
          ` \u00b7 elevation ${edges('elevation')} \u00b7 ${position}`);
}

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
  describeCell(view, view.at, byId('at-crosshair'));
}

/**
 * Moves the place where the sections meet; sections whose cells change are drawn again, at most
 * once per frame.
 * @param {ModelView} view
 * @param {Partial<Cell>} place
 */
function moveTo(view, place) {
  for (const name of AXES) {
    const i = place[name] ?? view.at[name];
    if (view.at[name] === i) continue;
    view.at[name] = i;
    view.moved.add(name);
  }
  if (view.moved.size === 0 || view.frame) return;
  view.frame = requestAnimationFrame(() => {
    view.frame = 0;
    for (const id of SECTION_IDS) {
      if (view.moved.has(SECTIONS[id].fixed)) redrawCells(view, id);
      placeCrosshair(view, id);
    }
    view.moved.clear();
    describeSliders(view);
  });
}

/**
 * Sets the range of the colours to that of the last iteration. On a logarithmic axis, which needs a
 * positive value, it begins at a thousandth of the maximum.
 * @param {ModelView} view
 */
function resetRange(view) {
  const [min, max] = view.range;
  const log = byId('scaling').querySelector('option[value="log"]');
  if (!(max > 0)) {
    view.scaling = 'linear';
    log.disabled = true;
    log.textContent = 'logarithmic (no value is positive)';
  }
  view.high = max > min ? max : min + Math.max(Math.abs(min), 1e-6);
  view.low = view.scaling === 'log' ? Math.max(min, view.high / 1000) : min;
  byId('scaling').value = view.scaling;
  showRange(view);
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
 * @param {Survey} survey
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
 * The cell of the maximum susceptibility within the extent.
 * @param {Mesh} mesh
 * @param {Float64Array} values
 * @param {Extent} extent
 * @returns {Cell}
 */
function startingPlace(mesh, values, extent) {
  const inside = (name, i) => {
    const nodes = mesh.nodes[name];
    const centre = (nodes[i] + nodes[i + 1]) / 2;
    return centre >= extent[name][0] && centre <= extent[name][1];
  };
  const at = {easting: 0, northing: 0, elevation: 0};
  let best = {...at};
  let max = -Infinity;
  for (at.northing = 0; at.northing < mesh.counts.north; ++at.northing) {
    if (!inside('northing', at.northing)) continue;
    for (at.easting = 0; at.easting < mesh.counts.east; ++at.easting) {
      if (!inside('easting', at.easting)) continue;
      for (at.elevation = 0; at.elevation < mesh.counts.layers; ++at.elevation) {
        const value = values[cellOf(mesh, at)];
        if (value > max) [best, max] = [{...at}, value];
      }
    }
  }
  return best;
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
 * @param {ModelView} view
 * @param {SectionId} id
 */
function listenToSection(view, id) {
  const plot = byId(id);
  const describeCellUnder = (event) => {
    const cells = cellsUnder(view, id, event);
    if (cells) describeCell(view, {...view.at, ...cells}, byId('at-pointer'));
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
    view.palette = input.value;
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
  on('scaling', (input) => {
    view.scaling = input.value;
    resetRange(view);
  });
  const setRange = () => {
    const low = Number(byId('range-low').value);
    const high = Number(byId('range-high').value);
    if (high > low && (view.scaling === 'linear' || low > 0)) Object.assign(view, {low, high});
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

/**
 * Draws the sections of the first iteration shown and listens to the controls.
 * @param {Mesh} mesh
 * @param {Survey} survey
 * @param {Float64Array} values  susceptibility (SI) of every cell, NaN in air
 */
export async function startModelView(mesh, survey, values) {
  const extents = extentsOf(mesh, survey);
  const range = extremes(values);
  /** @type {ModelView} */
  const view = {
    mesh,
    survey,
    values,
    range,
    at: startingPlace(mesh, values, extents.survey),
    moved: new Set(),
    frame: 0,
    extents,
    extent: 'survey',
    exaggeration: fittingExaggeration(extents.survey),
    stations: false,
    palette: 'viridis',
    scaling: 'linear',
    low: range[0],
    high: range[1],
    threshold: 0,
    opacity: 0.15,
  };
  byId('palette').replaceChildren(...Object.keys(PALETTES).map((name) => new Option(name, name)));
  byId('exaggeration').value = view.exaggeration;
  resetRange(view);
  await drawSections(view);
  listenToSliders(view);
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
