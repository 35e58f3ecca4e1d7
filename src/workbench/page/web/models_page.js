// SPDX-License-Identifier: GPL-3.0-or-later
// The page of models on one mesh.
import {coloursOf, replaceModel, startModelView} from './model_view.js';
import {startPage, unpackModel} from './page_start.js';
import {listenToSolid} from './solid_input.js';
import {byId} from './text.js';

/**
 * @typedef {import('./decode.js').Models} Models
 * @typedef {import('./model_view.js').Colours} Colours
 */

/**
 * How far a value is from that of most cells.
 * @param {Float64Array} values
 * @returns {(value: number) => number}
 */
function distinction(values) {
  const sorted = values.filter((value) => !Number.isNaN(value)).sort();
  const usual = sorted[Math.floor(sorted.length / 2)];
  return (value) => Math.abs(value - usual);
}

/**
 * @param {Models} page
 * @param {number} number
 * @param {{digits: number, values: Float64Array}} model
 */
function describe(page, number, {digits, values}) {
  const air = page.mesh.tops.reduce((sum, top) => sum + top, 0);
  byId('gaps').hidden = values.filter((value) => Number.isNaN(value)).length === air;
  byId('shown-note').textContent = digits < page.fileDigits ?
      `To keep this page small, its values are rounded to ${digits} digits.` :
      '';
  for (const [i, row] of document.querySelectorAll('#values tbody tr').entries())
    row.classList.toggle('shown', i + 1 === number);
}

/** @param {Models} page */
async function drawModels(page) {
  const {mesh, stations, models} = page;
  const select = byId('shown');
  select.replaceChildren(...models.map(({name}, i) => new Option(name, String(i + 1))));
  let shown = 1;
  const first = await unpackModel(shown, mesh);
  describe(page, shown, first);
  const view =
      await startModelView(mesh, stations, first.values, models[0].unit, distinction(first.values));
  listenToSolid(view);
  /** @type {Map<number, Colours>} */
  const colours = new Map();
  let drawn = shown;
  select.addEventListener('change', async () => {
    const number = Number(select.value);
    shown = number;
    document.body.setAttribute('aria-busy', 'true');
    const model = await unpackModel(number, mesh);
    if (shown !== number) return;  // another one has been chosen meanwhile
    colours.set(drawn, coloursOf(view));
    drawn = number;
    describe(page, number, model);
    await replaceModel(view, model.values, models[number - 1].unit, colours.get(number));
    document.body.setAttribute('aria-busy', 'false');
  });
}

startPage(drawModels);
