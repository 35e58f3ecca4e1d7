// SPDX-License-Identifier: GPL-3.0-or-later
// How misfit, model norm and beta went from iteration to iteration.
'use strict';

const BLUE = '#0a5d73';
const ORANGE = '#c05a00';

function curve(x, y, name, colour, more = {}) {
  return {
    type: 'scatter', mode: 'lines+markers', x, y, name, line: {color: colour, width: 2},
    marker: {color: colour, size: 7}, ...more,
  };
}

function ring(x, y, more = {}) {
  return {
    type: 'scatter', mode: 'markers', x: [x], y: [y], name: 'iteration shown', showlegend: false, hoverinfo: 'skip',
    marker: {size: 15, color: 'rgba(0,0,0,0)', line: {color: CROSS, width: 2.5}}, ...more,
  };
}

function drawIterations(run, shown) {
  const rows = run.iterations;
  const of = (name) => rows.map((row) => row[name]);
  const numbers = of('number');
  const now = rows.find((row) => row.number === shown);
  const iterationAxis = axis('Iteration', {dtick: Math.max(1, Math.ceil(rows.length / 12)), tick0: 1});
  const log = (title, more = {}) => axis(title, {type: 'log', exponentformat: 'power', dtick: 1, ...more});
  const close = (values) => Math.max(...values) / Math.min(...values) < 30;
  const logOrFine = (title, values, more = {}) => log(title, {...(close(values) ? {dtick: 'D2'} : {}), ...more});
  const wanted = run.target === null ? [] : [run.target];
  const target = (x0, x1) => (run.target === null ? [] : [{
    type: 'scatter', mode: 'lines', x: [x0, x1], y: [run.target, run.target], name: 'target',
    line: {color: INK, width: 1.5, dash: 'dash'}, hoverinfo: 'skip',
  }]);
  Plotly.react('misfit', [
    curve(numbers, of('misfit'), 'misfit', BLUE),
    ...target(numbers[0], numbers[numbers.length - 1]),
    curve(numbers, of('norm'), 'norm (right)', ORANGE, {yaxis: 'y2', line: {color: ORANGE, width: 2, dash: 'dot'}, marker: {color: ORANGE, size: 7, symbol: 'square'}}),
    ring(now.number, now.misfit), ring(now.number, now.norm, {yaxis: 'y2'}),
  ], layout(iterationAxis, logOrFine('Misfit', [...of('misfit'), ...wanted]), {
    ...LEGEND_ABOVE, margin: {...LEGEND_ABOVE.margin, r: 70}, yaxis2: {...axis('Model norm', {side: 'right', overlaying: 'y', showgrid: false, tickmode: 'auto', nticks: 6}), exponentformat: 'power', rangemode: 'tozero'},
  }), CONFIG);
  Plotly.react('beta', [curve(numbers, of('beta'), 'beta', BLUE), ring(now.number, now.beta)],
    layout(iterationAxis, logOrFine('beta', of('beta'))), CONFIG);
  Plotly.react('trade-off', [
    curve(of('norm'), of('misfit'), 'iterations', BLUE, {
      mode: 'lines+markers+text', text: numbers.map(String), textposition: 'top right',
      hovertemplate: 'iteration %{text}<br>model norm %{x:.4e}<br>misfit %{y:.4e}<extra></extra>',
    }),
    ...target(...extremes(of('norm'))),
    ring(now.norm, now.misfit),
  ], layout(axis('Model norm', {type: close(of('norm')) ? 'linear' : 'log', exponentformat: 'power'}),
    logOrFine('Misfit', [...of('misfit'), ...wanted]), LEGEND_ABOVE), CONFIG);
  for (const row of document.querySelectorAll('#iterations tbody tr')) {
    row.classList.toggle('shown', Number(row.cells[0].textContent) === shown);
  }
}
