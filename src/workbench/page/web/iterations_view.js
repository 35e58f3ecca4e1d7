// SPDX-License-Identifier: GPL-3.0-or-later
// How misfit, model norm and beta change from iteration to iteration.
import {rowOf} from './decode.js';
import {axis, CONFIG, INK, layout, legendAbove} from './plots.js';
import {byId, extremes} from './text.js';

/** @typedef {import('./decode.js').Run} Run */

const BLUE = '#0a5d73';
const ORANGE = '#c05a00';
const RING = '#c2185b';

function curve(x, y, name, colour, more = {}) {
  return {
    type: 'scatter',
    mode: 'lines+markers',
    x,
    y,
    name,
    line: {color: colour, width: 2},
    marker: {color: colour, size: 7},
    ...more,
  };
}

// Around the iteration that is shown.
function ring(x, y, more = {}) {
  return {
    type: 'scatter',
    mode: 'markers',
    x: [x],
    y: [y],
    name: 'iteration shown',
    showlegend: false,
    hoverinfo: 'skip',
    marker: {size: 15, color: 'rgba(0,0,0,0)', line: {color: RING, width: 2.5}},
    ...more,
  };
}

function targetLine(target, from, to) {
  if (target === null) return [];
  return [{
    type: 'scatter',
    mode: 'lines',
    x: [from, to],
    y: [target, target],
    name: 'target',
    line: {color: INK, width: 1.5, dash: 'dash'},
    hoverinfo: 'skip',
  }];
}

const isNarrow = (values) => Math.max(...values) / Math.min(...values) < 30;

// A logarithmic axis, with ticks at 1, 2 and 5 where the values are close to each other.
function logAxis(title, values) {
  return axis(title, {
    type: 'log',
    exponentformat: 'power',
    dtick: isNarrow(values) ? 'D2' : 1,
  });
}

function iterationAxis(rows) {
  const labels = Math.max(1, (byId('misfit').clientWidth - 165) / 26);
  const dtick = Math.max(1, Math.ceil(rows.length / labels));
  return axis('Iteration', {dtick, tick0: 1, tickangle: 0});
}

function drawMisfit(run, shown) {
  const rows = run.iterations;
  const of = (name) => rows.map((row) => row[name]);
  const wanted = run.target === null ? [] : [run.target];
  const dotted = {
    yaxis: 'y2',
    line: {color: ORANGE, width: 2, dash: 'dot'},
    marker: {color: ORANGE, size: 7, symbol: 'square'},
  };
  const right = {side: 'right', overlaying: 'y', showgrid: false, tickmode: 'auto', nticks: 6};
  const traces = [
    curve(of('number'), of('misfit'), 'misfit', BLUE),
    ...targetLine(run.target, rows[0].number, rows[rows.length - 1].number),
    curve(of('number'), of('norm'), 'norm (right)', ORANGE, dotted),
    ring(shown.number, shown.misfit),
    ring(shown.number, shown.norm, {yaxis: 'y2'}),
  ];
  Plotly.react(
      'misfit', traces,
      layout('misfit', iterationAxis(rows), logAxis('Misfit', [...of('misfit'), ...wanted]), {
        ...legendAbove('misfit', 300, 3, 70),
        yaxis2: {...axis('Model norm', right), exponentformat: 'power', rangemode: 'tozero'},
      }),
      CONFIG);
}

function drawBeta(run, shown) {
  const rows = run.iterations;
  const betas = rows.map((row) => row.beta);
  const curves = [
    curve(rows.map((row) => row.number), betas, 'beta', BLUE),
    ring(shown.number, shown.beta),
  ];
  Plotly.react('beta', curves, layout('beta', iterationAxis(rows), logAxis('beta', betas)), CONFIG);
}

function drawTradeOff(run, shown) {
  const of = (name) => run.iterations.map((row) => row[name]);
  const wanted = run.target === null ? [] : [run.target];
  const traces = [
    curve(of('norm'), of('misfit'), 'iterations', BLUE, {
      mode: 'lines+markers+text',
      text: of('number').map(String),
      textposition: 'top right',
      hovertemplate: 'iteration %{text}<br>model norm %{x:.4e}<br>misfit %{y:.4e}<extra></extra>',
    }),
    ...targetLine(run.target, ...extremes(of('norm'))),
    ring(shown.norm, shown.misfit),
  ];
  const type = isNarrow(of('norm')) ? 'linear' : 'log';
  Plotly.react(
      'trade-off', traces,
      layout(
          'trade-off', axis('Model norm', {type, exponentformat: 'power'}),
          logAxis('Misfit', [...of('misfit'), ...wanted]), legendAbove('trade-off', 200, 2)),
      CONFIG);
}

/**
 * Draws the curves of all iterations and marks the one whose model is shown, also in the table.
 * @param {Run} run
 * @param {number} number  of the iteration shown
 */
export function drawIterations(run, number) {
  const shown = rowOf(run, number);
  drawMisfit(run, shown);
  drawBeta(run, shown);
  drawTradeOff(run, shown);
  for (const row of document.querySelectorAll('#iterations tbody tr')) {
    row.classList.toggle('shown', Number(row.querySelector('th')?.textContent) === number);
  }
}
