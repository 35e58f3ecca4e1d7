// SPDX-License-Identifier: GPL-3.0-or-later
// Profiles: the data along a survey line, their residuals, and the model below them.
import {trackAlong} from './along_line.js';
import {describeDatum, residualsIn} from './data_view.js';
import {
  acrossTicks,
  axis,
  CONFIG,
  INK,
  isPrinting,
  layout,
  legendAbove,
  metreAxis,
} from './plots.js';
import {cellOf, cellTraces, describeCell, surfaceOf} from './sections.js';
import {byId, extremes, figures, metres} from './text.js';

/**
 * @typedef {import('./along_line.js').Track} Track
 * @typedef {import('./data_view.js').DataView} DataView
 * @typedef {import('./sections.js').ModelView} ModelView
 *
 * @typedef {object} ProfileView
 * @property {ModelView} model  whose colours, extent and exaggeration the section has
 * @property {DataView} data
 * @property {number} line  index of the line shown
 * @property {Track} track  of that line
 */

const GAP = 22;  // between the parts, in pixels
const BLUE = '#0a5d73';
const ORANGE = '#c05a00';

/** @param {ProfileView} view */
const dataOf = (view) => view.data.survey.lines[view.line].data;

/** @param {ProfileView} view */
function dataTraces(view) {
  const {survey, predicted} = view.data;
  const data = dataOf(view);
  const pick = (from) => data.map((i) => from[i]);
  const common = {type: 'scatter', x: view.track.at, customdata: data, hoverinfo: 'none'};
  return [
    {
      ...common,
      mode: 'markers',
      y: pick(survey.observed),
      name: 'observed, ±1 standard deviation',
      marker: {color: INK, size: 5},
      error_y: {type: 'data', array: pick(survey.deviation), thickness: 1, width: 0},
    },
    {
      ...common,
      mode: 'lines',
      y: pick(predicted),
      name: 'predicted',
      line: {color: ORANGE, width: 2},
    },
  ];
}

// Residuals above a band of two standard deviations.
function residualTraces(view) {
  const data = dataOf(view);
  const [{values, unit}, {at}] = [residualsIn(view.data), view.track];
  const bound = data.map((i) => (unit === 'nT' ? 2 * view.data.survey.deviation[i] : 2));
  const edge = {
    type: 'scatter',
    mode: 'lines',
    x: at,
    yaxis: 'y2',
    line: {width: 0},
    hoverinfo: 'skip',
  };
  return [
    {...edge, y: bound.map((v) => -v), showlegend: false},
    {
      ...edge,
      y: bound,
      fill: 'tonexty',
      fillcolor: 'rgba(10,93,115,.13)',
      name: '±2 standard deviations',
    },
    {
      ...edge,
      mode: 'lines+markers',
      y: data.map((i) => values[i]),
      customdata: data,
      hoverinfo: 'none',
      line: {color: BLUE, width: 1},
      marker: {color: BLUE, size: 5},
      name: 'residual (observed − predicted)',
    },
  ];
}

// The cells below the line from their lowest layer up, the terrain above them, and the stations.
function sectionTraces(view) {
  const {mesh, values} = view.model;
  const {edges, columns, at} = view.track;
  const cut = (of) =>
      Array.from({length: mesh.counts.layers}, (_, elevation) => columns.map((column) => {
        const value = column ? values[cellOf(mesh, {...column, elevation})] : NaN;
        return Number.isNaN(value) ? null : of(value);
      }));
  const above = {type: 'scatter', yaxis: 'y3', hoverinfo: 'skip', showlegend: false};
  const ground = columns.map((column) => (column ? surfaceOf(mesh, column) : null));
  const cells = columns.length > 0 ?
      cellTraces(view.model, {x: edges, y: mesh.nodes.elevation, yaxis: 'y3'}, cut, true) :
      [];
  return [
    ...cells,
    {
      ...above,
      mode: 'lines',
      x: columns.flatMap((_, i) => [edges[i], edges[i + 1]]),
      y: ground.flatMap((elevation) => [elevation, elevation]),
      line: {color: INK, width: 1.6},
    },
    {
      ...above,
      mode: 'markers',
      x: at,
      y: dataOf(view).map((i) => view.data.survey.z[i]),
      customdata: dataOf(view),
      hoverinfo: 'none',
      marker: {color: INK, size: 5, symbol: 'triangle-down'},
    },
  ];
}

/**
 * The parts of the plot below each other, and the height that it needs.
 * @param {ProfileView} view
 */
function arrange(view) {
  const {model, data, track} = view;
  const plot = byId('profile');
  const above = legendAbove('profile', 700, 4, 88);
  const {margin} = above;
  const width = Math.max(plot.clientWidth - margin.l - margin.r, 100);
  const [bottom, top] = model.extents[model.extent].elevation;
  const highest = Math.max(top, extremes(dataOf(view).map((i) => data.survey.z[i]))[1]);
  const range = [bottom, highest + 0.03 * (highest - bottom)];
  const length = track.at[track.at.length - 1];
  const exact = ((range[1] - range[0]) * width) / (length || 1);
  const limit = isPrinting() ? 230 : 520;
  const height = Math.min(Math.max(exact * model.exaggeration, 120), limit);
  const [dataHeight, residualHeight] = isPrinting() ? [150, 90] : [230, 130];
  const total = dataHeight + residualHeight + height + 2 * GAP;
  plot.style.height = `${total + margin.t + margin.b}px`;
  return {
    above,
    width,
    length,
    range,
    exaggeration: height / exact,
    section: [0, height / total],
    residual: [(height + GAP) / total, (height + GAP + residualHeight) / total],
    data: [(total - dataHeight) / total, 1],
  };
}

/** @param {ProfileView} view */
function drawProfile(view) {
  const parts = arrange(view);
  const {width, length, range} = parts;
  const cells = sectionTraces(view);
  const bar = cells.find((trace) => trace.colorbar)?.colorbar;
  if (bar) Object.assign(bar, {len: parts.section[1], y: parts.section[1] / 2});
  describeLine(view, parts.exaggeration);
  const distance = {range: [0, length], anchor: 'y3', mirror: 'all', domain: [0, 1]};
  const zeroline = {zeroline: true, zerolinecolor: '#8896a2'};
  return Plotly.react(
      'profile', [...cells, ...dataTraces(view), ...residualTraces(view)],
      layout(
          'profile',
          metreAxis(
              'Distance along the line (m)', {...acrossTicks(width, [0, length]), ...distance}),
          axis('nT', {domain: parts.data, nticks: 7}), {
            ...parts.above,
            legend: {...parts.above.legend, traceorder: 'normal'},
            yaxis2: axis(
                residualsIn(view.data).label, {domain: parts.residual, nticks: 5, ...zeroline}),
            yaxis3: metreAxis('Elevation (m)', {domain: parts.section, range, nticks: 6}),
            uirevision: `${view.line} ${view.model.extent}`,
          }),
      CONFIG);
}

/**
 * @param {ProfileView} view
 * @param {number} exaggeration
 */
function describeLine(view, exaggeration) {
  const {survey, normalised} = view.data;
  const data = dataOf(view);
  const end = (i) => `${metres(survey.x[i])} E ${metres(survey.y[i])} N`;
  const chi = data.reduce((sum, i) => sum + normalised[i] ** 2, 0) / data.length;
  byId('profile-note').textContent =
      `${data.length} data from ${end(data[0])} to ${end(data[data.length - 1])}, ` +
      `chi-squared ${figures(chi, 3)} per datum. Section: vertical exaggeration ` +
      `${figures(exaggeration, 2)}, colours as in the model.`;
}

/** @param {ProfileView} view */
function showLine(view, line) {
  view.line = line;
  view.track = trackAlong(view.model.mesh, view.data.survey, dataOf(view));
  byId('line').value = String(line);
  return drawProfile(view);
}

/**
 * Draws the line of the largest observed value and listens to the controls; nothing where the data
 * are in no lines.
 * @param {ModelView} model
 * @param {DataView} data
 */
export async function startProfileView(model, data) {
  const {lines, named, observed, strip} = data.survey;
  byId('profiles').hidden = byId('to-profiles').hidden = lines.length === 0;
  if (lines.length === 0) return;
  if (strip) byId('model').before(byId('profiles'));
  const title = (line) => (named ? line.name : `${line.name} of ${lines.length}`);
  byId('line').replaceChildren(...lines.map((line, i) => new Option(title(line), String(i))));
  byId('lines-note').textContent = named ?
      'Lines as the observations name them.' :
      'Lines from the order of the data, which turns or leaps where one ends.';
  const largest = lines.map((line) => extremes(line.data.map((i) => Math.abs(observed[i])))[1]);
  /** @type {ProfileView} */
  const view = {model, data, line: 0, track: {at: [], edges: [], columns: []}};
  await showLine(view, largest.indexOf(Math.max(...largest)));
  const go = (line) => showLine(view, (line + lines.length) % lines.length);
  byId('line').addEventListener('change', () => go(Number(byId('line').value)));
  byId('line-before').addEventListener('click', () => go(view.line - 1));
  byId('line-after').addEventListener('click', () => go(view.line + 1));
  // Which both happens when the page changes its size, too.
  byId('model').addEventListener('redrawn', () => drawProfile(view));
  byId('data').addEventListener('redrawn', () => drawProfile(view));
  byId('profile').on('plotly_hover', ({points: [point]}) => {
    const column = view.track.columns[point.pointIndex?.[1]];
    if (point.customdata !== undefined) {
      describeDatum(view.data, point.customdata, byId('at-profile'));
    } else if (column) {
      describeCell(model, {...column, elevation: point.pointIndex[0]}, byId('at-profile'));
    }
  });
}
