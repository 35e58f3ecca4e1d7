// SPDX-License-Identifier: GPL-3.0-or-later
// Three sections through the model. Along each axis cells count from 0 with the coordinate: from
// the west, from the south, and from the bottom.
import {
  acrossTicks,
  colourScale,
  CONFIG,
  fitHeight,
  INK,
  isPrinting,
  layout,
  metreAxis,
  PALETTES,
  upTicks,
  WITH_COLOUR_BAR,
  WITHOUT_COLOUR_BAR,
} from './plots.js';
import {byId, figures, metres, span} from './text.js';

/**
 * @typedef {import('./decode.js').AxisName} AxisName
 * @typedef {import('./decode.js').Mesh} Mesh
 * @typedef {import('./decode.js').Stations} Stations
 *
 * @typedef {Record<AxisName, number>} Cell  its index along each axis
 * @typedef {Record<AxisName, [number, number]>} Extent  in metres
 * @typedef {'plan' | 'west-east' | 'south-north'} SectionId
 * @typedef {{across: AxisName, up: AxisName, fixed: AxisName}} Section  what its axes are
 *
 * @typedef {object} ModelView  what the sections show, and how
 * @property {Mesh} mesh
 * @property {Stations} survey
 * @property {Float64Array} values  of every cell, NaN in air and where there is none
 * @property {string} unit  of the values: "SI", or nothing
 * @property {[number, number]} range  of the values; of a run, those of the last iteration
 * @property {Cell} at  where the sections meet
 * @property {number | null} depth  below the ground (m) of the horizontal section; null for one at
 *     the elevation of `at`, which otherwise follows the depth
 * @property {Set<AxisName | 'depth'>} moved  axes along which that has changed since the last frame
 * @property {number} frame  the request of the next frame; 0 when there is none
 * @property {{mesh: Extent, survey: Extent}} extents  that can be chosen
 * @property {'mesh' | 'survey'} extent  the one chosen
 * @property {number} exaggeration  of the elevations
 * @property {boolean} stations  whether they are drawn
 * @property {string} palette  a name in PALETTES
 * @property {'linear' | 'log'} scaling  of the colours
 * @property {number} low  value of the first colour
 * @property {number} high  and of the last
 * @property {number} threshold  below which colours fade; 0 for none
 * @property {number} opacity  of faded colours, 0 to 1
 */

/** @type {Record<SectionId, Section>} */
export const SECTIONS = {
  plan: {across: 'easting', up: 'northing', fixed: 'elevation'},
  'west-east': {across: 'easting', up: 'elevation', fixed: 'northing'},
  'south-north': {across: 'northing', up: 'elevation', fixed: 'easting'},
};

/** @type {SectionId[]} */
export const SECTION_IDS = ['plan', 'west-east', 'south-north'];

const AIR = '#dde6ee';
const PLAN_HEIGHTS = /** @type {[number, number]} */ ([250, 640]);  // in pixels

/**
 * Index of a cell in the order of model files, from 0.
 * @param {Mesh} mesh
 * @param {Cell} at
 */
export function cellOf(mesh, at) {
  const {east, layers} = mesh.counts;
  return layers - 1 - at.elevation + layers * (at.easting + east * at.northing);
}

/**
 * Number of cells along an axis.
 * @param {Mesh} mesh
 * @param {AxisName} axisName
 */
export const cellsAlong = (mesh, axisName) => mesh.nodes[axisName].length - 1;

/**
 * Elevation of the ground of a column, as the cells represent it.
 * @param {Mesh} mesh
 * @param {{easting: number, northing: number}} column
 */
export function surfaceOf(mesh, {easting, northing}) {
  const top = mesh.tops[easting + mesh.counts.east * northing];
  return mesh.nodes.elevation[mesh.counts.layers - top];
}

/**
 * Index along the elevations of the cell that lies so deep below the ground of its column; at a
 * face it is the cell below, and below the mesh -1.
 * @param {Mesh} mesh
 * @param {{easting: number, northing: number}} column
 * @param {number} depth  m, at least 0
 */
export function cellAtDepth(mesh, column, depth) {
  const {elevation} = mesh.nodes;
  const place = surfaceOf(mesh, column) - depth;
  let cell = elevation.length - 2;
  while (cell >= 0 && elevation[cell] >= place) --cell;
  return cell;
}

/**
 * Rows of a section from its lower edge up; null in air and below the mesh, elsewhere `of` the
 * cell's value.
 * @param {ModelView} view
 * @param {Section} section
 * @param {(value: number) => number} of
 */
function cut(view, section, of) {
  const {mesh, values} = view;
  const depth = section.fixed === 'elevation' ? view.depth : null;
  const [width, height] = [cellsAlong(mesh, section.across), cellsAlong(mesh, section.up)];
  const at = {...view.at};
  const rows = [];
  for (at[section.up] = 0; at[section.up] < height; ++at[section.up]) {
    const row = [];
    for (at[section.across] = 0; at[section.across] < width; ++at[section.across]) {
      if (depth !== null) at.elevation = cellAtDepth(mesh, at, depth);
      const value = at.elevation < 0 ? NaN : values[cellOf(mesh, at)];
      row.push(Number.isNaN(value) ? null : of(value));
    }
    rows.push(row);
  }
  return rows;
}

/**
 * The top of the ground cells along a vertical section, as steps.
 * @param {ModelView} view
 * @param {Section} section
 */
function groundLine(view, section) {
  const {mesh} = view;
  const edges = mesh.nodes[section.across];
  const x = [];
  const y = [];
  const at = {...view.at};
  for (let i = 0; i + 1 < edges.length; ++i) {
    at[section.across] = i;
    const elevation = surfaceOf(mesh, at);
    x.push(edges[i], edges[i + 1]);
    y.push(elevation, elevation);
  }
  return {type: 'scatter', mode: 'lines', x, y, line: {color: INK, width: 1.6}, hoverinfo: 'skip'};
}

/** @param {Stations} survey */
function stationMarkers(survey) {
  return {
    type: 'scatter',
    mode: 'markers',
    x: survey.x,
    y: survey.y,
    hoverinfo: 'skip',
    marker: {size: 3, color: '#fff', line: {color: '#000', width: 0.6}},
  };
}

// Ticks of a logarithmic colour axis: 1, 2 and 5 times the powers of ten.
function logTicks(low, high) {
  const values = [];
  for (let power = Math.floor(Math.log10(low)); power <= Math.log10(high); ++power) {
    for (const step of [1, 2, 5]) values.push(step * 10 ** power);
  }
  const inside = values.filter((v) => v >= low * 0.999 && v <= high * 1.001);
  return {tickvals: inside.map(Math.log10), ticktext: inside.map((v) => figures(v, 2))};
}

/**
 * Where a value lies on the colour axis.
 * @param {ModelView} view
 * @returns {(value: number) => number}
 */
function toColourAxis(view) {
  const {low, scaling} = view;
  return scaling === 'log' ? (v) => Math.log10(Math.max(v, low)) : (v) => v;
}

/**
 * Where a value lies between the first colour (0) and the last (1).
 * @param {ModelView} view
 * @returns {(value: number) => number}
 */
export function placeOnScale(view) {
  const toColour = toColourAxis(view);
  const [first, last] = [toColour(view.low), toColour(view.high)];
  return (value) => Math.min(Math.max((toColour(value) - first) / (last - first), 0), 1);
}

/**
 * @param {ModelView} view
 * @param {AxisName} axisName
 */
function centreOf(view, axisName) {
  const nodes = view.mesh.nodes[axisName];
  const i = view.at[axisName];
  return (nodes[i] + nodes[i + 1]) / 2;
}

/**
 * Two lines over a section where the others cut it. They lie above the plot, not in it: moving a
 * shape of the plot would draw all cells again.
 * @param {ModelView} view
 * @param {SectionId} id
 */
export function placeCrosshair(view, id) {
  const plot = byId(id);
  const area = plot.querySelector('.nsewdrag');
  if (!area) return;
  const section = SECTIONS[id];
  const box = ['x', 'y', 'width', 'height'].map((name) => Number(area.getAttribute(name)));
  const share = (axisName, range) => (centreOf(view, axisName) - range[0]) / (range[1] - range[0]);
  const across = share(section.across, plot.layout.xaxis.range);
  const up = share(section.up, plot.layout.yaxis.range);
  const line = (name, at, left, top, width, height) => {
    const element = plot.parentElement.querySelector(name);
    element.hidden = !(at >= 0 && at <= 1);
    const place = {left: plot.offsetLeft + left, top: plot.offsetTop + top, width, height};
    for (const [side, value] of Object.entries(place)) element.style[side] = `${value}px`;
  };
  line('.cross-upright', across, box[0] + across * box[2], box[1], 0, box[3]);
  line('.cross-level', up, box[0], box[1] + (1 - up) * box[3], box[2], 0);
}

/**
 * Cells in the colours of the view.
 * @param {ModelView} view
 * @param {{x: number[], y: number[], yaxis?: string}} edges  of the cells
 * @param {(of: (value: number) => number) => (number | null)[][]} rows  from the lowest up
 * @param {boolean} showscale
 */
export function cellTraces(view, edges, rows, showscale) {
  const toColour = toColourAxis(view);
  const [zmin, zmax] = [toColour(view.low), toColour(view.high)];
  const fading = view.threshold > 0;
  const fade = fading ? (toColour(view.threshold) - zmin) / (zmax - zmin) : 0;
  /** @type {any[]} */
  const traces = [{
    type: 'heatmap',
    ...edges,
    z: rows(toColour),
    zmin,
    zmax,
    zsmooth: false,
    colorscale: colourScale(PALETTES[view.palette], fade, view.opacity),
    hoverinfo: 'none',
    showscale,
    colorbar: {
      title: {text: view.unit, side: 'top'},
      thickness: 16,
      x: 1,
      xpad: 12,
      outlinewidth: 0,
      ticks: 'outside',
      len: 1,
      exponentformat: 'power',
      ...(view.scaling === 'log' ? logTicks(view.low, view.high) : {}),
    },
  }];
  // White below what is faded, so that it does not look like air.
  if (fading) {
    traces.unshift({
      type: 'heatmap',
      ...edges,
      z: rows(() => 0),
      colorscale: [[0, '#fff'], [1, '#fff']],
      showscale: false,
      hoverinfo: 'skip',
    });
  }
  return traces;
}

/**
 * @param {ModelView} view
 * @param {SectionId} id
 */
function sectionTraces(view, id) {
  const section = SECTIONS[id];
  const edges = {x: view.mesh.nodes[section.across], y: view.mesh.nodes[section.up]};
  const traces = cellTraces(view, edges, (of) => cut(view, section, of), id === 'plan');
  if (id !== 'plan') {
    traces.push(groundLine(view, section));
  } else if (view.stations) {
    traces.push(stationMarkers(view.survey));
  }
  return traces;
}

/**
 * @param {ModelView} view
 * @param {SectionId} id
 */
function drawSection(view, id) {
  const section = SECTIONS[id];
  const plan = id === 'plan';
  const limits = view.extents[view.extent];
  const length = (name) => limits[name][1] - limits[name][0];
  const scaleratio = plan ? 1 : view.exaggeration;
  const margins = plan ? WITH_COLOUR_BAR : WITHOUT_COLOUR_BAR;
  const highest =
      isPrinting() ? 250 : Math.max(400, Math.min(300 * scaleratio, 0.8 * window.innerHeight));
  const [across, up] = fitHeight(
      id, margins.margin, [length(section.across), length(section.up) * scaleratio],
      plan ? PLAN_HEIGHTS : [110, highest]);
  const range = (name, toward) =>
      ({range: limits[name], constrain: 'domain', showgrid: false, constraintoward: toward});
  const title = {easting: 'Easting (m)', northing: 'Northing (m)', elevation: 'Elevation (m)'};
  const x = {...range(section.across, 'left'), ...acrossTicks(across, limits[section.across])};
  const y = {...range(section.up, 'top'), ...upTicks(up), scaleanchor: 'x', scaleratio};
  return Plotly.react(
      id, sectionTraces(view, id),
      layout(id, metreAxis(title[section.across], x), metreAxis(title[section.up], y), {
        ...margins,
        plot_bgcolor: AIR,
        uirevision: `${view.extent} ${view.exaggeration}`,
      }),
      CONFIG);
}

// The map gets the columns that its shape needs, the upright sections the rest; below each other
// where there is little room, or the survey is wide.
function divideWidth(view) {
  const area = /** @type {HTMLElement} */ (byId('plan').closest('.sections'));
  const {easting, northing} = view.extents[view.extent];
  const ratio = (northing[1] - northing[0]) / (easting[1] - easting[0]);
  const {l, r} = WITH_COLOUR_BAR.margin;
  const width = Math.min(PLAN_HEIGHTS[1] / ratio + l + r, 0.46 * area.clientWidth);
  const below = area.clientWidth < 900 || ratio < 0.4;
  area.style.gridTemplateColumns =
      below ? 'minmax(0, 1fr)' : `${Math.max(Math.round(width), 320)}px minmax(0, 1fr)`;
}

/**
 * Draws all sections, and tells those who show the same cells.
 * @param {ModelView} view
 */
export async function drawSections(view) {
  divideWidth(view);
  await Promise.all(SECTION_IDS.map((id) => drawSection(view, id)));
  byId('model').dispatchEvent(new Event('redrawn'));
}

/**
 * Puts another cut through the model into a section; quicker than drawing the section again.
 * @param {ModelView} view
 * @param {SectionId} id
 */
export function redrawCells(view, id) {
  const traces = sectionTraces(view, id);
  const all = (name) => traces.map((trace) => trace[name]);
  return Plotly.restyle(id, {x: all('x'), y: all('y'), z: all('z')});
}

/**
 * What there is to say of a cell.
 * @param {ModelView} view
 * @param {Cell} at
 * @param {Element} place  of the text
 */
export function describeCell(view, at, place) {
  const {mesh} = view;
  if (at.elevation < 0) {
    place.textContent = 'below the mesh';
    return;
  }
  const value = view.values[cellOf(mesh, at)];
  const edges = (name) => [mesh.nodes[name][at[name]], mesh.nodes[name][at[name] + 1]];
  const range = (name) => span(edges(name)[0], edges(name)[1]);
  const [bottom, top] = edges('elevation').map((elevation) => surfaceOf(mesh, at) - elevation);
  const strong = document.createElement('strong');
  const written = Number.isNaN(value) ? 'no value' : `${figures(value)} ${view.unit}`.trim();
  strong.textContent = bottom <= 0 ? 'air' : written;
  const position = `column ${at.easting + 1}, row ${at.northing + 1}, ` +
      `layer ${mesh.counts.layers - at.elevation} (cell ${cellOf(mesh, at) + 1})`;
  const depth = top < 0 ? '' : ` \u00b7 ${metres(top)} to ${metres(bottom)} m below the ground`;
  place.replaceChildren(
      strong,
      ` \u00b7 easting ${range('easting')} \u00b7 northing ${range('northing')}` +
          ` \u00b7 elevation ${range('elevation')}${depth} \u00b7 ${position}`);
}
