// SPDX-License-Identifier: GPL-3.0-or-later
// Unpacks the data, loads the plotting library, and draws the page.
'use strict';

async function loadLibrary() {
  const source = URL.createObjectURL(new Blob([await inflate(byId('library').textContent)], {type: 'text/javascript'}));
  await new Promise((resolve, reject) => {
    const script = document.createElement('script');
    script.src = source;
    script.onload = resolve;
    script.onerror = () => reject(new Error('The plotting library could not be loaded.'));
    document.head.append(script);
  });
  URL.revokeObjectURL(source);
}

// Model and predicted data of an iteration that the page carries.
async function unpackIteration(number, mesh) {
  const model = byId(`model-${number}`);
  const {digits, firstExponent} = model.dataset;
  return {
    digits: Number(digits),
    values: decodeModel(await inflate(model.textContent), Number(digits), Number(firstExponent), mesh),
    predicted: JSON.parse(await inflateText(byId(`predicted-${number}`).textContent)),
  };
}

function describeIteration(run, number, digits) {
  const row = run.iterations.find((r) => r.number === number);
  byId('iteration-words').textContent = `beta ${figures(row.beta, 4)}, misfit ${figures(row.misfit, 5)}. ` + (digits < run.fileDigits
    ? `To keep this page small, the susceptibilities of this iteration are rounded to ${digits} digits.`
    : `Susceptibilities as in ${row.modelFile}.`);
}

// Plots keep their size in pixels: on paper they are drawn for the width of a page.
function preparePrinting() {
  const resize = () => document.querySelectorAll('.plot').forEach((plot) => Plotly.Plots.resize(plot));
  window.addEventListener('beforeprint', () => {
    document.body.style.width = '178mm';
    resize();
  });
  window.addEventListener('afterprint', () => {
    document.body.style.width = '';
    resize();
  });
}

async function start() {
  const [text] = await Promise.all([inflateText(byId('payload').textContent), loadLibrary()]);
  const run = JSON.parse(text);
  const {mesh, survey} = run;
  mesh.counts = {
    east: mesh.nodes.easting.length - 1, north: mesh.nodes.northing.length - 1,
    layers: mesh.nodes.elevation.length - 1,
  };
  const select = byId('iteration');
  select.replaceChildren(...run.held.map((n) => new Option(n === run.iterations.at(-1).number ? `${n} (last)` : n, n)));
  let shown = run.held.at(-1);
  select.value = shown;
  const iteration = await unpackIteration(shown, mesh);
  describeIteration(run, shown, iteration.digits);
  const modelView = await startModelView(mesh, survey, iteration.values);
  const dataView = await startDataView(survey, iteration.predicted);
  drawIterations(run, shown);
  preparePrinting();
  select.addEventListener('change', async () => {
    const number = Number(select.value);
    shown = number;
    document.body.setAttribute('aria-busy', 'true');
    const chosen = await unpackIteration(number, mesh);
    if (shown !== number) return;  // another one was chosen meanwhile
    describeIteration(run, number, chosen.digits);
    await showModel(modelView, chosen.values);
    await showData(dataView, chosen.predicted);
    drawIterations(run, number);
    document.body.setAttribute('aria-busy', 'false');
  });
  document.body.setAttribute('aria-busy', 'false');
}

start().catch((error) => {
  byId('failure').textContent = `The plots cannot be drawn: ${error.message} The verdict and the tables do not need them. ` +
    'Browsers from 2023 on can draw them.';
  byId('failure').hidden = false;
  console.error(error);
});
