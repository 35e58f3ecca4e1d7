// SPDX-License-Identifier: GPL-3.0-or-later
// Maps and statistics of the data of one iteration.
import {
  axis,
  colourScale,
  CONFIG,
  DIVERGING,
  fitHeight,
  layout,
  LEGEND_ABOVE,
  metreAxis,
  PALETTES,
  WITH_COLOUR_BAR,
} from './plots.js';
import {byId, extremes, figures, metres} from './text.js';

/**
 * @typedef {import('./decode.js').Survey} Survey
 *
 * @typedef {object} DataView
 * @property {Survey} survey
 * @property {number[]} drawn  indices of the data that the maps draw
 * @property {number} markerSize  in pixels
 * @property {number[]} predicted  nT, of the iteration shown
 * @property {number[]} normalised  (observed - predicted) / standard deviation
 */

const MAX_POINTS = 5000;  // that a plot draws
const MAPS = ['observed', 'predicted', 'residual'];

// Indices of the data that are drawn: all, or in each square the one nearest to its centre.
function drawnData(x, y) {
  if (x.length <= MAX_POINTS) return [...x.keys()];
  const [west, east] = extremes(x);
  const [south, north] = extremes(y);
  const longest = Math.max(east - west, north - south);
  const area = Math.max((east - west) * (north - south), (longest * longest) / MAX_POINTS);
  let side = Math.sqrt(area / MAX_POINTS) || 1;
  for (;;) {
    const nearest = new Map();
    for (let i = 0; i < x.length; ++i) {
      const [u, v] = [(x[i] - west) / side, (y[i] - south) / side];
      const key = `${Math.floor(u)} ${Math.floor(v)}`;
      const away = Math.hypot(u - Math.floor(u) - 0.5, v - Math.floor(v) - 0.5);
      if (!(nearest.get(key)?.away <= away)) nearest.set(key, {i, away});
    }
    if (nearest.size <= MAX_POINTS) return [...nearest.values()].map((n) => n.i);
    side *= 1.2;
  }
}

// From the first to the 99th percentile, so that a few values do not take all colours.
function innerRange(values) {
  const sorted = Float64Array.from(values).sort();
  const at = (share) => sorted[Math.round(share * (sorted.length - 1))];
  const [low, high] = [at(0.01), at(0.99)];
  return high > low ? [low, high] : [low - 1, low + 1];
}

/**
 * @param {DataView} view
 * @param {string} id
 * @param {number[]} values  one per datum
 * @param {number[]} range  of the colours
 * @param {[number, string][]} scale
 * @param {string} unit
 */
function map(view, id, values, range, scale, unit) {
  const pick = (from) => view.drawn.map((i) => from[i]);
  const trace = {
    type: 'scatter',
    mode: 'markers',
    x: pick(view.survey.x),
    y: pick(view.survey.y),
    customdata: view.drawn,
    hoverinfo: 'none',
    marker: {
      color: pick(values),
      cmin: range[0],
      cmax: range[1],
      colorscale: scale,
      size: view.markerSize,
      symbol: 'square',
      colorbar: {
        thickness: 14,
        outlinewidth: 0,
        ticks: 'outside',
        title: {text: unit, side: 'top'},
      },
    },
  };
  const across = {constrain: 'domain', constraintoward: 'left', nticks: 5};
  const up = {constrain: 'domain', constraintoward: 'top', scaleanchor: 'x', scaleratio: 1};
  return Plotly.react(
      id, [trace],
      layout(
          metreAxis('Easting (m)', across), metreAxis('Northing (m)', up),
          {...WITH_COLOUR_BAR, uirevision: 1}),
      CONFIG);
}

function histogram(normalised) {
  const [width, ends] = [0.5, 6];
  const inside = Array.from(normalised, (r) => Math.min(Math.max(r, -ends + 1e-9), ends - 1e-9));
  const places = Array.from({length: 121}, (_, i) => -ends + i / 10);
  const peak = (normalised.length * width) / Math.sqrt(2 * Math.PI);
  const traces = [
    {
      type: 'histogram',
      x: inside,
      xbins: {start: -ends, end: ends, size: width},
      name: 'residuals',
      marker: {color: '#5b9bb0', line: {color: '#fff', width: 1}},
      hovertemplate: '%{x}: %{y} data<extra></extra>',
    },
    {
      type: 'scatter',
      mode: 'lines',
      x: places,
      y: places.map((r) => peak * Math.exp(-0.5 * r * r)),
      name: 'Gaussian curve',
      line: {color: '#b2182b', width: 2.5},
      hoverinfo: 'skip',
    },
  ];
  const title = '(observed − predicted) / standard deviation; outer bars hold all beyond ±6';
  return Plotly.react(
      'histogram', traces,
      layout(axis(title, {showgrid: false}), axis('Number of data'), {...LEGEND_ABOVE, bargap: 0}),
      CONFIG);
}

/** @param {DataView} view */
function observedAgainstPredicted(view) {
  const {observed} = view.survey;
  const pick = (from) => view.drawn.map((i) => from[i]);
  const [low, high] = extremes([...extremes(observed), ...extremes(view.predicted)]);
  const traces = [
    {
      type: 'scatter',
      mode: 'lines',
      x: [low, high],
      y: [low, high],
      name: 'observed = predicted',
      line: {color: '#b2182b', width: 1.5},
      hoverinfo: 'skip',
    },
    {
      type: 'scatter',
      mode: 'markers',
      x: pick(observed),
      y: pick(view.predicted),
      name: 'data',
      customdata: view.drawn,
      marker: {color: '#0a5d73', size: 5, opacity: 0.55},
      hoverinfo: 'none',
    },
  ];
  const equal = {scaleanchor: 'x', scaleratio: 1, constrain: 'domain'};
  return Plotly.react(
      'scatter', traces,
      layout(
          axis('Observed (nT)', {constrain: 'domain'}), axis('Predicted (nT)', equal),
          LEGEND_ABOVE),
      CONFIG);
}

// Per cent of the values whose size is at most `max`.
function share(values, max) {
  let inside = 0;
  for (const value of values) inside += Math.abs(value) <= max ? 1 : 0;
  return ((100 * inside) / values.length).toFixed(1);
}

function correlation(a, b) {
  const mean = (v) => v.reduce((sum, x) => sum + x, 0) / v.length;
  const [ma, mb] = [mean(a), mean(b)];
  let [ab, aa, bb] = [0, 0, 0];
  for (let i = 0; i < a.length; ++i) {
    ab += (a[i] - ma) * (b[i] - mb);
    aa += (a[i] - ma) ** 2;
    bb += (b[i] - mb) ** 2;
  }
  return ab / Math.sqrt(aa * bb);
}

/**
 * @param {DataView} view
 * @param {number} i  index of the datum
 */
function describeDatum(view, i) {
  const {x, y, z, observed, deviation} = view.survey;
  const strong = document.createElement('strong');
  strong.textContent =
      `observed ${figures(observed[i])} nT, predicted ${figures(view.predicted[i])} nT`;
  const residual = figures(view.normalised[i], 4);
  byId('at-datum')
      .replaceChildren(
          strong,
          ` \u00b7 residual ${residual} standard deviations of ${figures(deviation[i], 4)} nT` +
              ` \u00b7 datum ${i + 1} \u00b7 easting ${metres(x[i])} m,` +
              ` northing ${metres(y[i])} m, elevation ${metres(z[i])} m`);
}

/** @param {DataView} view */
function describeFit(view) {
  const within = (deviations) => share(view.normalised, deviations);
  byId('histogram-note').textContent =
      `${within(1)} % of the data are fitted within one standard deviation (68.3 % for Gaussian ` +
      `errors), ${within(2)} % within two (95.4 %), ${within(3)} % within three (99.7 %).`;
  const r = correlation(view.survey.observed, view.predicted);
  byId('scatter-note').textContent = Number.isNaN(r) ?
      'Observed and predicted data have no correlation, for one of them is constant.' :
      `Correlation of observed and predicted data: ${r.toFixed(4)}.`;
}

/** @param {DataView} view */
function describeMaps(view) {
  const count = view.survey.x.length;
  let text = `${count} data. Observed and predicted data share one colour range, from the first ` +
      'to the 99th percentile of the observed data.';
  if (view.drawn.length < count) {
    text += ` The maps draw ${view.drawn.length} of them, in each small square the datum nearest ` +
        'to its centre; all statistics use all data.';
  }
  byId('data-note').textContent = text;
}

/**
 * Draws the data of an iteration.
 * @param {DataView} view
 * @param {number[]} predicted  nT
 */
export async function showData(view, predicted) {
  const {observed, deviation} = view.survey;
  view.predicted = predicted;
  view.normalised = observed.map((value, i) => (value - predicted[i]) / deviation[i]);
  const range = innerRange(observed);
  const scale = colourScale(PALETTES.viridis);
  await map(view, 'observed', observed, range, scale, 'nT');
  await map(view, 'predicted', predicted, range, scale, 'nT');
  await map(view, 'residual', view.normalised, [-4, 4], colourScale(DIVERGING), '');
  await histogram(view.normalised);
  await observedAgainstPredicted(view);
  describeFit(view);
}

/**
 * Draws the data of the first iteration shown and listens to the pointer.
 * @param {Survey} survey
 * @param {number[]} predicted  nT
 */
export async function startDataView(survey, predicted) {
  const drawn = drawnData(survey.x, survey.y);
  const [west, east] = extremes(survey.x);
  const [south, north] = extremes(survey.y);
  const scale = 330 / Math.max(east - west, north - south, 1e-9);
  const area = Math.max((east - west) * (north - south) * scale * scale, 330 * 8);
  const markerSize = Math.min(11, Math.max(3, 1.02 * Math.sqrt(area / drawn.length)));
  /** @type {DataView} */
  const view = {survey, drawn, markerSize, predicted, normalised: []};
  for (const id of MAPS) fitHeight(id, (north - south) / (east - west), 260, 460);
  describeMaps(view);
  await showData(view, predicted);
  for (const id of [...MAPS, 'scatter']) {
    byId(id).on('plotly_hover', (event) => {
      const i = event.points[0].customdata;
      if (i !== undefined) describeDatum(view, i);
    });
  }
  return view;
}
