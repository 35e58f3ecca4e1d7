// SPDX-License-Identifier: GPL-3.0-or-later
// Opens the picture in three dimensions, which is made then and not before, and turns it with keys,
// mouse and fingers.
import {newScene} from './solid_scene.js';
import {
  FIRST_VIEW,
  firstThreshold,
  largest,
  lookFrom,
  move,
  redraw,
  setThreshold,
  threeDigits,
  turn,
  zoom,
} from './solid_view.js';
import {byId, figures} from './text.js';

/**
 * @typedef {import('./sections.js').ModelView} ModelView
 * @typedef {import('./solid_view.js').SolidView} SolidView
 */

/** @param {SolidView} view */
function listenToKeys(view) {
  const arrows = {
    ArrowLeft: [-1, 0],
    ArrowRight: [1, 0],
    ArrowUp: [0, -1],
    ArrowDown: [0, 1],
  };
  view.canvas.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const arrow = arrows[event.key];
    if (arrow && event.shiftKey) {
      move(view, 0.05 * arrow[0], 0.05 * arrow[1]);
    } else if (arrow) {
      turn(view, 5 * arrow[0], 5 * arrow[1]);
    } else if (event.key === '+' || event.key === '=') {
      zoom(view, 1.2);
    } else if (event.key === '-') {
      zoom(view, 1 / 1.2);
    } else if (event.key === 'Home') {
      lookFrom(view, FIRST_VIEW);
    } else {
      return;
    }
    event.preventDefault();
  });
}

/**
 * One pointer turns, or moves with Shift; two fingers zoom and move.
 * @param {SolidView} view
 */
function listenToPointers(view) {
  const {canvas} = view;
  /** @type {Map<number, [number, number]>} */
  const down = new Map();
  const gap = () => {
    const [a, b] = [...down.values()];
    return Math.hypot(a[0] - b[0], a[1] - b[1]);
  };
  canvas.addEventListener('pointerdown', (event) => {
    canvas.setPointerCapture(event.pointerId);
    down.set(event.pointerId, [event.clientX, event.clientY]);
  });
  canvas.addEventListener('pointermove', (event) => {
    const from = down.get(event.pointerId);
    if (!from) return;
    const before = down.size === 2 ? gap() : 0;
    const [across, below] = [event.clientX - from[0], event.clientY - from[1]];
    down.set(event.pointerId, [event.clientX, event.clientY]);
    if (down.size === 2) {
      zoom(view, gap() / before || 1);
      move(view, across / 2 / canvas.clientHeight, below / 2 / canvas.clientHeight);
    } else if (event.shiftKey) {
      move(view, across / canvas.clientHeight, below / canvas.clientHeight);
    } else {
      turn(view, 0.4 * across, 0.4 * below);
    }
  });
  for (const end of ['pointerup', 'pointercancel'])
    canvas.addEventListener(end, (event) => down.delete(/** @type {any} */ (event).pointerId));
  canvas.addEventListener('wheel', (event) => {
    if (document.activeElement !== canvas) return;  // the page scrolls past the picture
    event.preventDefault();
    zoom(view, Math.exp(-event.deltaY / 600));
  });
}

/** @param {SolidView} view */
function listenToControls(view) {
  const slide = byId('solid-slide');
  slide.addEventListener('input', () => {
    setThreshold(view, threeDigits(largest(view.model) * slide.value / slide.max));
  });
  byId('solid-threshold').addEventListener('change', (event) => {
    setThreshold(view, Math.max(Number(figures(Number(event.target.value))), 0));
  });
  for (const id of ['solid-ground', 'solid-stations'])
    byId(id).addEventListener('change', () => redraw(view));
  for (const button of byId('solid').querySelectorAll('button')) {
    const {turn, tilt} = button.dataset;
    button.addEventListener(
        'click', () => lookFrom(view, {turn: Number(turn), tilt: Number(tilt)}));
  }
}

/**
 * @param {ModelView} model
 * @returns {SolidView | null}  null when the browser has no WebGL
 */
function startSolidView(model) {
  const canvas = byId('solid-canvas');
  const scene = newScene(canvas);
  byId('solid-missing').hidden = Boolean(scene);
  byId('solid-parts').hidden = !scene;
  if (!scene) return null;
  /** @type {SolidView} */
  const view = {
    model,
    canvas,
    scene,
    camera: {...FIRST_VIEW, height: 1, target: [0, 0, 0]},
    threshold: 0,
    box: [[0, 0, 0], [0, 0, 0]],
    middle: [0, 0, 0],
    half: [0, 0, 0],
    size: [1, 1],
    drawn: {},
    frame: 0,
    stale: true,
  };
  Object.assign(canvas, {drawn: view.drawn});
  setThreshold(view, firstThreshold(model));
  listenToKeys(view);
  listenToPointers(view);
  listenToControls(view);
  new ResizeObserver(() => redraw(view)).observe(canvas);
  canvas.addEventListener('webglcontextlost', (event) => event.preventDefault());
  canvas.addEventListener('webglcontextrestored', () => {
    view.scene = newScene(canvas) ?? view.scene;
    view.box = [[0, 0, 0], [0, 0, 0]];
    redraw(view, true);
  });
  return view;
}

/**
 * Makes the picture when it is opened, and redraws it when the sections change.
 * @param {ModelView} model
 */
export function listenToSolid(model) {
  /** @type {SolidView | null} */
  let view = null;
  const open = () => {
    if (byId('solid').open) view ??= startSolidView(model);
  };
  byId('solid').addEventListener('toggle', open);
  open();  // it may have been opened while the page was unpacked
  byId('model').addEventListener('redrawn', () => view && redraw(view, true));
  byId('model').addEventListener(
      'replaced', () => view && setThreshold(view, firstThreshold(model)));
}
