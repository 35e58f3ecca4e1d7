// SPDX-License-Identifier: GPL-3.0-or-later
// The picture in three dimensions: the cells from a threshold on, the terrain and the stations.
import {colourTable, PALETTES} from './plots.js';
import {placeOnScale} from './sections.js';
import {linesOfBox, northArrow} from './solid_axes.js';
import {
  axesOfPicture,
  describeDirection,
  fittingHeight,
  placeInPicture,
  projection,
} from './solid_camera.js';
import {
  cellsAbove,
  cornersOfWindow,
  groundFaces,
  outerFaces,
  parallelograms,
  SIDES,
  windowOf,
} from './solid_cells.js';
import {placeLabels} from './solid_labels.js';
import {drawScene, setPart} from './solid_scene.js';
import {byId, extremes, figures, metres} from './text.js';

/**
 * @typedef {import('./sections.js').ModelView} ModelView
 * @typedef {import('./solid_axes.js').Box} Box
 * @typedef {import('./solid_camera.js').Camera} Camera
 * @typedef {import('./solid_camera.js').Direction} Direction
 * @typedef {import('./solid_cells.js').Place} Place
 * @typedef {import('./solid_cells.js').Window} Window
 * @typedef {import('./solid_scene.js').Scene} Scene
 *
 * @typedef {object} SolidView
 * @property {ModelView} model  the sections, whose cells, colours and extent are shown
 * @property {HTMLCanvasElement} canvas
 * @property {Scene} scene
 * @property {Camera} camera
 * @property {number} threshold  magnitude from which cells are shown
 * @property {Box} box  around the cells of the extent and the stations above them
 * @property {Place} middle  of the box, from which the scene counts
 * @property {Place} half  of the sides of the box
 * @property {[number, number]} size  of the picture in pixels
 * @property {number} frame  the request of the next frame; 0 when there is none
 * @property {any} drawn  what the scene was given, for the tests of the page
 * @property {boolean} stale  whether cells or colours have changed since the last frame
 */

export const FIRST_VIEW = {
  turn: 25,
  tilt: 25
};
const STRONGEST = 0.02;  // share of the cells that is shown at first
const COLOURS = 256;
const INK = 0xff2e2317;
const GRID = 0xffc8bcb0;
const LOWLAND = [92, 132, 104];
const SUMMITS = [206, 178, 128];
const OPACITY = 0.4;
// A relief of less than this part of the box's half diagonal does not reach the colour of summits.
const LOW_RELIEF = 0.1;

// Brightness of the sides of a cell: west, east, south, north, below, above.
const SHADES = [0.84, 0.8, 0.9, 0.74, 0.66, 1];

/**
 * @param {Place} to
 * @param {Place} from
 */
const minus = (to, from) => /** @type {Place} */ (to.map((v, axis) => v - from[axis]));

const packed = (/** @type {number[]} */[red, green, blue], shade, opacity = 1) =>
    (Math.round(255 * opacity) << 24 | Math.round(shade * blue) << 16 |
     Math.round(shade * green) << 8 | Math.round(shade * red)) >>>
    0;

/**
 * Rounds down to three digits, so that cells of that value are shown.
 * @param {number} value
 */
export function threeDigits(value) {
  if (!(value > 0)) return 0;
  const unit = 10 ** (Math.floor(Math.log10(value)) - 2);
  return Number((Math.floor(value / unit) * unit).toPrecision(3));
}

/**
 * The largest magnitude of the last iteration, where the slider ends.
 * @param {ModelView} model
 */
export const largest = ({range}) => Math.max(Math.abs(range[0]), Math.abs(range[1]));

/**
 * The magnitude that the strongest cells of the extent reach; half of the largest one where nearly
 * all cells have the same.
 * @param {ModelView} model
 */
export function firstThreshold(model) {
  const {mesh, values, extents, extent} = model;
  const inside = cellsAbove(mesh, values, windowOf(mesh, extents[extent]), 0);
  const sizes = Float64Array.from(inside, (cell) => Math.abs(values[cell])).sort();
  const strong = sizes[Math.floor((1 - STRONGEST) * sizes.length)];
  return threeDigits(strong > sizes[0] ? strong : largest(model) / 2);
}

// Texts that are read aloud when they change.
function say(id, text) {
  if (byId(id).textContent !== text) byId(id).textContent = text;
}

/**
 * @param {SolidView} view
 * @param {number[]} cells
 */
function setCells({model, scene, middle, drawn}, cells) {
  const faces = outerFaces(model.mesh, cells);
  const shapes = parallelograms(model.mesh, faces, middle);
  const table = colourTable(PALETTES[model.palette], COLOURS)
                    .flatMap((colour) => SHADES.map((shade) => packed(colour, shade)));
  const place = placeOnScale(model);
  const colour = (face) => {
    const side = face % SIDES;
    const value = model.values[(face - side) / SIDES];
    return table[SIDES * Math.round((COLOURS - 1) * place(value)) + side];
  };
  const colours = Uint32Array.from(faces, colour);
  setPart(scene, 'cells', shapes, colours);
  Object.assign(drawn, {cells: shapes, colours, middle});
}

/**
 * The ground, greener where it is low, and the stations.
 * @param {SolidView} view
 * @param {Window} window
 */
function setSurroundings({model, scene, middle, half, drawn}, window) {
  const faces = groundFaces(model.mesh, window);
  const shapes = parallelograms(model.mesh, faces, middle);
  const tops = faces.map((_, i) => shapes[9 * i + 2] + shapes[9 * i + 5] + shapes[9 * i + 8]);
  const [low, high] = extremes(tops);
  const relief = Math.max(high - low, LOW_RELIEF * Math.hypot(...half));
  const colours = faces.map((face, i) => {
    const share = (tops[i] - low) / relief;
    const colour = LOWLAND.map((v, c) => v + share * (SUMMITS[c] - v));
    return packed(colour, SHADES[face % SIDES], OPACITY);
  });
  setPart(scene, 'ground', shapes, Uint32Array.from(colours));
  drawn.ground = shapes;
  const {x, y, z} = model.survey;
  const stations = new Float32Array(9 * x.length);
  x.forEach((easting, i) => stations.set(minus([easting, y[i], z[i]], middle), 9 * i));
  setPart(scene, 'stations', stations, new Uint32Array(x.length).fill(INK));
}

/**
 * The height of a picture (m) that holds the whole box.
 * @param {SolidView} view
 * @param {Direction} direction
 */
const heightFor = ({half, size}, direction) => fittingHeight(direction, half, size);

/**
 * Keeps as much of the box in a picture of another size.
 * @param {SolidView} view
 * @param {number} width  in pixels
 * @param {number} height
 */
function fitToSize(view, width, height) {
  if (view.size[0] === width && view.size[1] === height) return;
  const before = heightFor(view, view.camera);
  view.size = [width, height];
  view.camera.height *= heightFor(view, view.camera) / before || 1;
}

/**
 * @param {SolidView} view
 * @param {Direction} direction
 * @returns {Camera}
 */
const cameraFrom = (view, {turn, tilt}) =>
    ({turn, tilt, height: heightFor(view, {turn, tilt}), target: [0, 0, 0]});

/**
 * Puts the box around the cells of a window, and draws what is there besides them.
 * @param {SolidView} view
 * @param {Window} window
 */
function setWindow(view, window) {
  const [low, high] = cornersOfWindow(view.model.mesh, window);
  high[2] = Math.max(high[2], extremes(view.model.survey.z)[1]);
  if (String([low, high]) === String(view.box)) return;
  view.box = [low, high];
  view.middle = /** @type {Place} */ (low.map((v, axis) => (v + high[axis]) / 2));
  view.half = /** @type {Place} */ (low.map((v, axis) => (high[axis] - v) / 2));
  view.camera = cameraFrom(view, view.camera);
  setSurroundings(view, window);
}

/**
 * Takes cells, colours and extent from the sections.
 * @param {SolidView} view
 */
function refresh(view) {
  const {mesh, values, unit, extents, extent, range} = view.model;
  const window = windowOf(mesh, extents[extent]);
  setWindow(view, window);
  const cells = cellsAbove(mesh, values, window, view.threshold);
  setCells(view, cells);
  const everywhere = windowOf(mesh, extents.mesh);
  const outside = cellsAbove(mesh, values, everywhere, view.threshold).length - cells.length;
  const counted = metres(cells.length) + (cells.length === 1 ? ' cell has' : ' cells have');
  const beyond = outside > 0 ? `; ${metres(outside)} more lie outside the extent` : '';
  const magnitude = range[0] < 0 ? ' in magnitude' : '';
  say('solid-note', `${counted} ${figures(view.threshold)} ${unit} or more${magnitude}${beyond}.`);
}

/** @param {SolidView} view */
export function draw(view) {
  const {canvas, scene} = view;
  const {clientWidth, clientHeight} = canvas;
  if (!(clientWidth > 0)) return;  // closed
  fitToSize(view, clientWidth, clientHeight);
  if (view.stale) refresh(view);
  view.stale = false;
  const [width, height] =
      [clientWidth, clientHeight].map((size) => Math.round(size * devicePixelRatio));
  if (canvas.width !== width) canvas.width = width;
  if (canvas.height !== height) canvas.height = height;
  const {box, middle, camera} = view;
  const matrix = projection(camera, clientWidth / clientHeight, 2 * Math.hypot(...view.half));
  const [grid, arrow] = [linesOfBox(box, camera), northArrow(box, camera)];
  const lines = [...grid, ...arrow].flatMap(
      ([from, to]) => [...minus(from, middle), ...minus(to, from), 0, 0, 0]);
  const colours = new Uint32Array(lines.length / 9).fill(GRID).fill(INK, grid.length);
  setPart(scene, 'lines', new Float32Array(lines), colours);
  drawScene(scene, matrix, {
    ground: byId('solid-ground').checked,
    stations: byId('solid-stations').checked,
  });
  /** @type {(place: Place) => [number, number]} */
  const onScreen = (place) => {
    const [x, y] = placeInPicture(matrix, minus(place, middle));
    return [x * clientWidth, y * clientHeight];
  };
  placeLabels(box, camera, onScreen, clientWidth);
  say('solid-camera', describeDirection(camera));
}

/**
 * Draws once before the next frame, however often it is asked to.
 * @param {SolidView} view
 * @param {boolean} [stale]  whether cells or colours have changed
 */
export function redraw(view, stale = false) {
  view.stale ||= stale;
  view.frame ||= requestAnimationFrame(() => {
    view.frame = 0;
    draw(view);
  });
}

/**
 * Shows cells from that magnitude on.
 * @param {SolidView} view
 * @param {number} threshold
 */
export function setThreshold(view, threshold) {
  view.threshold = threshold;
  const slide = byId('solid-slide');
  slide.value = Math.round(slide.max * threshold / largest(view.model)) || 0;
  slide.setAttribute('aria-valuetext', `${figures(threshold)} ${view.model.unit}`);
  byId('solid-threshold').value = threshold;
  redraw(view, true);
}

/**
 * @param {SolidView} view
 * @param {Direction} direction
 */
export function lookFrom(view, direction) {
  view.camera = cameraFrom(view, direction);
  redraw(view);
}

/**
 * Turns as if the picture were dragged that far. What was wholly in the picture stays so.
 * @param {SolidView} view
 * @param {number} across  degrees
 * @param {number} down
 */
export function turn(view, across, down) {
  const {camera} = view;
  const whole = camera.height > 0.99 * heightFor(view, camera);
  camera.turn = (camera.turn + across + 360) % 360;
  camera.tilt = Math.min(Math.max(camera.tilt + down, -90), 90);
  if (whole) camera.height = Math.max(camera.height, heightFor(view, camera));
  redraw(view);
}

/**
 * Moves the picture by parts of its height.
 * @param {SolidView} view
 * @param {number} across
 * @param {number} down
 */
export function move(view, across, down) {
  const {target, height} = view.camera;
  const {right, up} = axesOfPicture(view.camera);
  for (const axis of [0, 1, 2]) target[axis] += height * (down * up[axis] - across * right[axis]);
  redraw(view);
}

/**
 * @param {SolidView} view
 * @param {number} factor
 */
export function zoom(view, factor) {
  const {camera} = view;
  const size = Math.hypot(...view.half);
  camera.height = Math.min(Math.max(camera.height / factor, size / 50), 20 * size);
  redraw(view);
}
