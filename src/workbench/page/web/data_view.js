// SPDX-License-Identifier: GPL-3.0-or-later
// Maps and statistics of the data of one iteration.
'use strict';

const MOST_POINTS = 5000;  // that a plot draws

// Numbers of the data that are drawn: all, or of each square the one nearest to its centre.
function drawnData(x, y) {
  if (x.length <= MOST_POINTS) return [...x.keys()];
  const [west, east] = extremes(x);
  const [south, north] = extremes(y);
  const longest = Math.max(east - west, north - south);
  const area = Math.max((east - west) * (north - south), (longest * longest) / MOST_POINTS);
  let side = Math.sqrt(area / MOST_POINTS) || 1;
  for (;;) {
    const nearest = new Map();
    for (let i = 0; i < x.length; ++i) {
      const [u, v] = [(x[i] - west) / side, (y[i] - south) / side];
      const key = `${Math.floor(u)} ${Math.floor(v)}`;
      const away = Math.hypot(u - Math.floor(u) - 0.5, v - Math.floor(v) - 0.5);
      if (!(nearest.get(key)?.away <= away)) nearest.set(key, {i, away});
    }
    if (nearest.size <= MOST_POINTS) return [...nearest.values()].map((n) => n.i);
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

function map(view, id, values, range, scale, title) {
  const drawn = view.drawn;
  const pick = (from) => drawn.map((i) => from[i]);
  const [x, y] = [pick(view.survey.x), pick(view.survey.y)];
  const trace = {
    type: 'scatter', mode: 'markers', x, y, customdata: drawn, hoverinfo: 'none',
    marker: {
      color: pick(values), cmin: range[0], cmax: range[1], colorscale: scale, size: view.markerSize,
      symbol: 'square',
      colorbar: {thickness: 14, outlinewidth: 0, ticks: 'outside', title: {text: title, side: 'top'}},
    },
  };
  return Plotly.react(id, [trace], layout(
    metreAxis('Easting (m)', {constrain: 'domain', constraintoward: 'left', nticks: 5}),
    metreAxis('Northing (m)', {constrain: 'domain', constraintoward: 'top', scaleanchor: 'x', scaleratio: 1}),
    {...BESIDE_COLOUR_BAR, uirevision: 1}), CONFIG);
}

function histogram(normalised) {
  const [width, ends] = [0.5, 6];
  const inside = Array.from(normalised, (r) => Math.min(Math.max(r, -ends + 1e-9), ends - 1e-9));
  const bell = Array.from({length: 121}, (_, i) => -ends + i / 10);
  const height = (r) => (normalised.length * width * Math.exp(-0.5 * r * r)) / Math.sqrt(2 * Math.PI);
  const traces = [
    {
      type: 'histogram', x: inside, xbins: {start: -ends, end: ends, size: width}, name: 'residuals',
      marker: {color: '#5b9bb0', line: {color: '#fff', width: 1}}, hovertemplate: '%{x}: %{y} data<extra></extra>',
    },
    {
      type: 'scatter', mode: 'lines', x: bell, y: bell.map(height), name: 'normal curve',
      line: {color: '#b2182b', width: 2.5}, hoverinfo: 'skip',
    },
  ];
  return Plotly.react('histogram', traces, layout(
    axis('(observed − predicted) / standard deviation; beyond ±6 in the last bars', {showgrid: false}),
    axis('Number of data'), {...LEGEND_ABOVE, bargap: 0}), CONFIG);
}

function observedAgainstPredicted(view, predicted) {
  const pick = (from) => view.drawn.map((i) => from[i]);
  const [low, high] = extremes([...extremes(view.survey.observed), ...extremes(predicted)]);
  const traces = [
    {
      type: 'scatter', mode: 'lines', x: [low, high], y: [low, high], name: 'observed = predicted',
      line: {color: '#b2182b', width: 1.5}, hoverinfo: 'skip',
    },
    {
      type: 'scatter', mode: 'markers', x: pick(view.survey.observed), y: pick(predicted), name: 'data',
      customdata: view.drawn, marker: {color: '#0a5d73', size: 5, opacity: 0.55}, hoverinfo: 'none',
    },
  ];
  return Plotly.react('scatter', traces, layout(
    axis('Observed (nT)', {constrain: 'domain'}),
    axis('Predicted (nT)', {scaleanchor: 'x', scaleratio: 1, constrain: 'domain'}),
    LEGEND_ABOVE), CONFIG);
}

function share(values, most) {
  let inside = 0;
  for (const value of values) inside += Math.abs(value) <= most ? 1 : 0;
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

function describeDatum(view, i) {
  const {x, y, z, observed, deviation} = view.survey;
  const strong = document.createElement('strong');
  strong.textContent = `observed ${figures(observed[i])} nT, predicted ${figures(view.predicted[i])} nT`;
  byId('at-datum').replaceChildren(strong,
    ` \u00b7 residual ${figures(view.normalised[i], 4)} standard deviations of ${figures(deviation[i], 4)} nT` +
    ` \u00b7 datum ${i + 1} \u00b7 easting ${metres(x[i])} m, northing ${metres(y[i])} m, elevation ${metres(z[i])} m`);
}

// Draws the data of an iteration, predicted values in nT.
async function showData(view, predicted) {
  const {observed, deviation} = view.survey;
  view.predicted = predicted;
  view.normalised = observed.map((value, i) => (value - predicted[i]) / deviation[i]);
  const range = innerRange(observed);
  const scale = colourScale(PALETTES.viridis);
  await map(view, 'observed', observed, range, scale, 'nT');
  await map(view, 'predicted', predicted, range, scale, 'nT');
  await map(view, 'residual', view.normalised, [-4, 4], colourScale(DIVERGING), '');
  await histogram(view.normalised);
  await observedAgainstPredicted(view, predicted);
  byId('histogram-words').textContent =
    `${share(view.normalised, 1)} % of the data are fitted within one standard deviation (68.3 % of ` +
    `normal errors), ${share(view.normalised, 2)} % within two (95.4 %), ${share(view.normalised, 3)} % within three (99.7 %).`;
  const r = correlation(observed, predicted);
  byId('scatter-words').textContent = `Correlation of observed and predicted data: ${Number.isNaN(r) ? 'none, for one of them is constant' : r.toFixed(4)}.`;
}

async function startDataView(survey, predicted) {
  const drawn = drawnData(survey.x, survey.y);
  const [west, east] = extremes(survey.x);
  const [south, north] = extremes(survey.y);
  const scale = 330 / Math.max(east - west, north - south, 1e-9);
  const area = Math.max((east - west) * (north - south) * scale * scale, 330 * 8);
  const markerSize = Math.min(11, Math.max(3, 1.02 * Math.sqrt(area / drawn.length)));
  const view = {survey, drawn, markerSize};
  for (const id of ['observed', 'predicted', 'residual']) fitHeight(id, (north - south) / (east - west), 260, 460);
  byId('data-words').textContent = `${survey.x.length} data. Observed and predicted data share one colour ` +
    'range, from the first to the 99th percentile of the observed ones.' + (drawn.length < survey.x.length
    ? ` The maps draw ${drawn.length} of them, of each small square the datum nearest to its centre; all figures use all data.` : '');
  await showData(view, predicted);
  for (const id of ['observed', 'predicted', 'residual', 'scatter']) {
    byId(id).on('plotly_hover', (event) => {
      const i = event.points[0].customdata;
      if (i !== undefined) describeDatum(view, i);
    });
  }
  return view;
}
