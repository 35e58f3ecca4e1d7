// SPDX-License-Identifier: GPL-3.0-or-later
// Maps and statistics of the data of one iteration.
import {
  ABOUT_ZERO,
  acrossTicks,
  axis,
  colourScale,
  CONFIG,
  DIVERGING,
  fitHeight,
  layout,
  legendAbove,
  metreAxis,
  PALETTES,
  redrawOnResize,
  upTicks,
  WITH_COLOUR_BAR,
} from './plots.js';
import {byId, extremes, figures, metres} from './text.js';

/**
 * @typedef {import('./decode.js').Survey} Survey
 *
 * @typedef {object} DataView
 * @property {Survey} survey
 * @property {number[]} drawn  indices of the data that the maps draw
 * @property {{x: [number, number], y: [number, number]}} box  that the maps show
 * @property {boolean} stretched  whether the maps have unequal scales, for a narrow survey
 * @property {string[]} lineOf  name of the line of each datum, where there are names
 * @property {string} palette  a name in PALETTES, of observed and predicted data
 * @property {[number, number]} range  of their colours (nT)
 * @property {'std' | 'nT'} unit  of the residuals
 * @property {number} largest  residual (in that unit) of the last colours
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

/**
 * From the percentile `cut` to the one as far from the top; 0 for all values.
 * @param {number[]} values
 * @param {number} cut
 * @returns {[number, number]}
 */
function rangeOf(values, cut) {
  const sorted = Float64Array.from(values).sort();
  const at = (share) => sorted[Math.round(share * (sorted.length - 1))];
  const [low, high] = [at(cut / 100), at(1 - cut / 100)];
  return high > low ? [low, high] : [low - 1, low + 1];
}

/**
 * The residuals in the unit chosen, with its name.
 * @param {DataView} view
 */
export function residualsIn({unit, survey, predicted, normalised}) {
  return unit === 'nT' ? {
    values: survey.observed.map((value, i) => value - predicted[i]),
    unit,
    label: 'Residual (nT)',
  } :
                         {values: normalised, unit, label: 'Residual / std. dev.'};
}

// The box of the data with a rim; a narrow one is widened and stretched, to be seen at all.
function boxOf(survey) {
  const [west, east] = extremes(survey.x);
  const [south, north] = extremes(survey.y);
  const longest = Math.max(east - west, north - south, 1);
  const stretched = Math.min(east - west, north - south) < longest / 6;
  /** @type {(from: number, to: number) => [number, number]} */
  const around = (from, to) => {
    const rim = Math.max(0.04 * (stretched ? to - from : longest), 0.02 * longest);
    return [from - rim, to + rim];
  };
  return {box: {x: around(west, east), y: around(south, north)}, stretched};
}

// A map has the scale that its width allows; a stretched one fills its width.
function sizeOfMap({box, stretched}, id) {
  const [width, height] = [box.x[1] - box.x[0], box.y[1] - box.y[0]];
  const shape = /** @type {[number, number]} */ (stretched ? [1, 1] : [width, height]);
  return fitHeight(id, WITH_COLOUR_BAR.margin, shape, [160, 460]);
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
  const {box, drawn, stretched} = view;
  const [width, height] = sizeOfMap(view, id);
  const cover = stretched ? 7 : 1.02 * Math.sqrt((width * height) / drawn.length);
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
      size: Math.min(11, Math.max(3, cover)),
      symbol: 'square',
      colorbar: {
        thickness: 14,
        outlinewidth: 0,
        ticks: 'outside',
        title: {text: unit, side: 'top'},
      },
    },
  };
  const equal = stretched ? {} : {constrain: 'domain', scaleanchor: 'x', scaleratio: 1};
  const across = {
    ...acrossTicks(width, box.x),
    range: box.x,
    constrain: 'domain',
    constraintoward: 'left',
  };
  const up = {...upTicks(height), ...equal, range: box.y, constraintoward: 'top'};
  return Plotly.react(
      id, [trace],
      layout(
          id, metreAxis('Easting (m)', across), metreAxis('Northing (m)', up),
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
  const title = 'Residual / standard deviation';
  return Plotly.react(
      'histogram', traces,
      layout(
          'histogram', axis(title, {showgrid: false}), axis('Number of data'),
          {...legendAbove('histogram', 230, 2), bargap: 0}),
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
          'scatter', axis('Observed (nT)', {constrain: 'domain', nticks: 6}),
          axis('Predicted (nT)', equal), legendAbove('scatter', 230, 2)),
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
 * What there is to say of a datum.
 * @param {DataView} view
 * @param {number} i  index of the datum
 * @param {Element} place  of the text
 */
export function describeDatum(view, i, place) {
  const {x, y, z, observed, deviation, fiducials} = view.survey;
  const strong = document.createElement('strong');
  strong.textContent =
      `observed ${figures(observed[i])} nT, predicted ${figures(view.predicted[i])} nT`;
  const residual = `${figures(observed[i] - view.predicted[i], 4)} nT, ` +
      `${figures(view.normalised[i], 4)} standard deviations of ${figures(deviation[i], 4)} nT`;
  const line = view.lineOf[i] ? ` \u00b7 line ${view.lineOf[i]}` : '';
  const fiducial = fiducials[i] ? ` \u00b7 fiducial ${fiducials[i]}` : '';
  place.replaceChildren(
      strong,
      ` \u00b7 residual ${residual} \u00b7 datum ${i + 1}${line}${fiducial} \u00b7 easting ${
          metres(x[i])} m,` +
          ` northing ${metres(y[i])} m, elevation ${metres(z[i])} m`);
}

/** @param {DataView} view */
function describeFit(view) {
  const within = (deviations) => share(view.normalised, deviations);
  byId('histogram-note').textContent =
      `${within(1)} % of the data are fitted within one standard deviation (68.3 % for Gaussian ` +
      `errors), ${within(2)} % within two (95.4 %), ${
          within(3)} % within three (99.7 %). The outer ` +
      'bars hold all beyond ±6.';
  const r = correlation(view.survey.observed, view.predicted);
  byId('scatter-note').textContent = Number.isNaN(r) ?
      'Observed and predicted data have no correlation, for one of them is constant.' :
      `Correlation of observed and predicted data: ${r.toFixed(4)}.`;
}

/** @param {DataView} view */
function describeMaps(view) {
  const count = view.survey.x.length;
  let text = `${count} data. Observed and predicted data share their colours.`;
  if (view.stretched) {
    text += ' The survey is so narrow that these maps have unequal scales; the profiles show more.';
  }
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
  await drawMaps(view);
  await drawStatistics(view);
  describeFit(view);
}

/** @param {DataView} view */
async function drawMaps(view) {
  const {survey, predicted, range, largest} = view;
  const scale = colourScale(PALETTES[view.palette]);
  await map(view, 'observed', survey.observed, range, scale, 'nT');
  await map(view, 'predicted', predicted, range, scale, 'nT');
  const {values, unit} = residualsIn(view);
  const label = unit === 'nT' ? 'nT' : '';
  await map(view, 'residual', values, [-largest, largest], colourScale(DIVERGING), label);
  byId('data-palette').value = view.palette;
  byId('data-low').value = figures(range[0], 4);
  byId('data-high').value = figures(range[1], 4);
  byId('residual-size').value = figures(largest, 4);
  byId('residual-title').textContent =
      unit === 'nT' ? 'Residual (nT)' : 'Residual in standard deviations';
  byId('data').dispatchEvent(new Event('redrawn'));
}

/** @param {DataView} view */
async function drawStatistics(view) {
  await histogram(view.normalised);
  await observedAgainstPredicted(view);
}

// The palette about zero needs a range about zero.
function setRange(view, [low, high]) {
  const size = Math.max(Math.abs(low), Math.abs(high));
  if (view.palette === ABOUT_ZERO)
    view.range = [-size, size];
  else if (high > low)
    view.range = [low, high];
}

/** @param {DataView} view */
function listenToControls(view) {
  const {observed} = view.survey;
  /** @type {(id: string, event: string, set: () => void) => void} */
  const on = (id, event, set) => byId(id).addEventListener(event, () => {
    set();
    drawMaps(view);
  });
  on('data-palette', 'change', () => {
    view.palette = byId('data-palette').value;
    setRange(view, view.palette === ABOUT_ZERO ? view.range : rangeOf(observed, 0));
  });
  const typed = () => setRange(view, [
    Number(byId('data-low').value),
    Number(byId('data-high').value),
  ]);
  on('data-low', 'change', typed);
  on('data-high', 'change', typed);
  on('data-full', 'click', () => setRange(view, rangeOf(observed, 0)));
  on('data-inner', 'click', () => setRange(view, rangeOf(observed, 1)));
  on('residual-unit', 'change', () => {
    view.unit = byId('residual-unit').value;
    view.largest = view.unit === 'nT' ? rangeOf(residualsIn(view).values.map(Math.abs), 1)[1] : 4;
  });
  on('residual-size', 'change', () => {
    view.largest = Math.abs(Number(byId('residual-size').value)) || view.largest;
  });
}

/**
 * Draws the data of the first iteration shown and listens to the pointer.
 * @param {Survey} survey
 * @param {number[]} predicted  nT
 */
export async function startDataView(survey, predicted) {
  /** @type {string[]} */
  const lineOf = [];
  for (const line of survey.named ? survey.lines : []) {
    for (const i of line.data) lineOf[i] = line.name;
  }
  /** @type {DataView} */
  const view = {
    survey,
    drawn: drawnData(survey.x, survey.y),
    ...boxOf(survey),
    lineOf,
    palette: 'viridis',
    range: rangeOf(survey.observed, 0),
    unit: 'std',
    largest: 4,
    predicted,
    normalised: [],
  };
  const names = Object.keys(PALETTES);
  byId('data-palette').replaceChildren(...names.map((name) => new Option(name, name)));
  describeMaps(view);
  await showData(view, predicted);
  listenToControls(view);
  redrawOnResize(() => {
    drawMaps(view);
    drawStatistics(view);
  });
  for (const id of [...MAPS, 'scatter']) {
    byId(id).on('plotly_hover', (event) => {
      const i = event.points[0].customdata;
      if (i !== undefined) describeDatum(view, i, byId('at-datum'));
    });
  }
  return view;
}
