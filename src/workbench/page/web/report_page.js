// SPDX-License-Identifier: GPL-3.0-or-later
// The page of a run.
import {showData, startDataView} from './data_view.js';
import {inflateText, rowOf} from './decode.js';
import {drawIterations} from './iterations_view.js';
import {showModel, startModelView} from './model_view.js';
import {startPage, unpackModel} from './page_start.js';
import {redrawOnResize} from './plots.js';
import {startProfileView} from './profile_view.js';
import {listenToSolid} from './solid_input.js';
import {byId, figures} from './text.js';

/**
 * @typedef {import('./decode.js').Mesh} Mesh
 * @typedef {import('./decode.js').Run} Run
 */

/**
 * Model and predicted data of an iteration that the page holds.
 * @param {number} number
 * @param {Mesh} mesh
 */
async function unpackIteration(number, mesh) {
  /** @type {number[]} */
  const predicted = JSON.parse(await inflateText(byId(`predicted-${number}`).textContent));
  return {...await unpackModel(number, mesh), predicted};
}

/**
 * @param {Run} run
 * @param {number} number
 * @param {number} digits  of the susceptibilities
 */
function describeIteration(run, number, digits) {
  const row = rowOf(run, number);
  const values = digits < run.fileDigits ?
      `To keep this page small, its susceptibilities are rounded to ${digits} digits.` :
      `Susceptibilities as in ${row.modelFile}.`;
  byId('iteration-note').textContent =
      `beta ${figures(row.beta, 4)}, misfit ${figures(row.misfit, 5)}. ${values}`;
}

/** @param {Run} run */
async function drawReport(run) {
  const {mesh, survey} = run;
  const last = run.iterations[run.iterations.length - 1].number;
  const label = (n) => (n === last ? `${n} (last)` : String(n));
  const select = byId('iteration');
  select.replaceChildren(...run.held.map((n) => new Option(label(n), String(n))));
  let shown = run.held[run.held.length - 1];
  select.value = shown;
  const iteration = await unpackIteration(shown, mesh);
  describeIteration(run, shown, iteration.digits);
  const modelView = await startModelView(mesh, survey, iteration.values);
  const dataView = await startDataView(survey, iteration.predicted);
  await startProfileView(modelView, dataView);
  listenToSolid(modelView);
  drawIterations(run, shown);
  redrawOnResize(() => drawIterations(run, shown));
  select.addEventListener('change', async () => {
    const number = Number(select.value);
    shown = number;
    document.body.setAttribute('aria-busy', 'true');
    const chosen = await unpackIteration(number, mesh);
    if (shown !== number) return;  // another one has been chosen meanwhile
    describeIteration(run, number, chosen.digits);
    await showModel(modelView, chosen.values);
    await showData(dataView, chosen.predicted);
    drawIterations(run, number);
    document.body.setAttribute('aria-busy', 'false');
  });
}

startPage(drawReport);
