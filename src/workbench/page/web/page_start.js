// SPDX-License-Identifier: GPL-3.0-or-later
// How every page starts: it unpacks its data, loads the plotting library, and draws itself.
import {decodeModel, inflate, inflateText} from './decode.js';
import {redrawAll} from './plots.js';
import {byId} from './text.js';

/** @typedef {import('./decode.js').Mesh} Mesh */

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

/** The payload of the page, whose mesh counts its cells. */
async function unpackPayload() {
  const payload = JSON.parse(await inflateText(byId('payload').textContent));
  const {easting, northing, elevation} = payload.mesh.nodes;
  payload.mesh.counts = {
    east: easting.length - 1,
    north: northing.length - 1,
    layers: elevation.length - 1,
  };
  return payload;
}

/**
 * A model that the page holds: a value for every cell, NaN where it has none.
 * @param {number} number
 * @param {Mesh} mesh
 */
export async function unpackModel(number, mesh) {
  const model = byId(`model-${number}`);
  const digits = Number(model.dataset.digits);
  const bytes = await inflate(model.textContent);
  return {digits, values: decodeModel(bytes, digits, Number(model.dataset.firstExponent), mesh)};
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

/**
 * Draws the page from its payload; says so when that fails.
 * @param {(payload: any) => Promise<void>} draw
 */
export async function startPage(draw) {
  try {
    const [payload] = await Promise.all([unpackPayload(), loadLibrary()]);
    await draw(payload);
    listenToSize();
    document.body.setAttribute('aria-busy', 'false');
  } catch (error) {
    const reason = error instanceof Error ? error.message : String(error);
    byId('failure').textContent = `The plots cannot be drawn: ${reason} ` +
        'Texts and tables do not need them. Browsers from 2023 on can draw them.';
    byId('failure').hidden = false;
    console.error(error);
  }
}
