// SPDX-License-Identifier: GPL-3.0-or-later
// Unpacks the data, loads the plotting library, and draws the page.
import {showData, startDataView} from './data_view.js';
import {decodeModel, inflate, inflateText, rowOf} from './decode.js';
import {drawIterations} from './iterations_view.js';
import {showModel, startModelView} from './model_view.js';
import {redrawAll, redrawOnResize} from './plots.js';
import {startProfileView} from './profile_view.js';
import {listenToSolid} from './solid_input.js';
import {byId, figures} from './text.js';

/**
 * @typedef {import('./decode.js').Mesh} Mesh
 * @typedef {import('./decode.js').Run} Run
 */

async function loadLibrary() {
  const bytes = await inflate(byId('library').textContent);
  const source = URL.createObjectURL(new Blob([bytes], {type: 'text/javascript'}));
  await new Promise((resolve, reject) => {
    const script = document.createElement('script');
    script.src = source;
    script.onload = resolve;
    script.onerror = () => reject(new Error('The plotting library could not be loaded.'));
    document.head.append(script);
  });
  URL.revokeObjectURL(source);
}

/** @returns {Promise<Run>} */
async function unpackRun() {
  const run = JSON.parse(await inflateText(byId('payload').textContent));
  const {easting, northing, elevation} = run.mesh.nodes;
  run.mesh.counts = {
    east: easting.length - 1,
    north: northing.length - 1,
    layers: elevation.length - 1,
  };
  return run;
}

/**
 * Model and predicted data of an iteration that the page holds.
 * @param {number} number
 * @param {Mesh} mesh
 */
async function unpackIteration(number, mesh) {
  const model = byId(`model-${number}`);
  const digits = Number(model.dataset.digits);
  const bytes = await inflate(model.textContent);
  /** @type {number[]} */
  const predicted = JSON.parse(await inflateText(byId(`predicted-${number}`).textContent));
  return {
    digits,
    values: decodeModel(bytes, digits, Number(model.dataset.firstExponent), mesh),
    predicted,
  };
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

// Plots keep their size in pixels: they are drawn again for another width, also that of paper.
function listenToSize() {
  const print = (printing) => {
    document.body.classList.toggle('printing', printing);
    redrawAll();
  };
  window.addEventListener('beforeprint', () => print(true));
  window.addEventListener('afterprint', () => print(false));
  let width = window.innerWidth;
  let waiting = 0;
  window.addEventListener('resize', () => {
    clearTimeout(waiting);
    waiting = setTimeout(() => {
      if (window.innerWidth !== width) redrawAll();
      width = window.innerWidth;
    }, 100);
  });
}

async function start() {
  const [run] = await Promise.all([unpackRun(), loadLibrary()]);
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
  listenToSize();
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
  document.body.setAttribute('aria-busy', 'false');
}

start().catch((error) => {
  byId('failure').textContent = `The plots cannot be drawn: ${error.message} ` +
      'The verdict and the tables do not need them. Browsers from 2023 on can draw them.';
  byId('failure').hidden = false;
  console.error(error);
});
