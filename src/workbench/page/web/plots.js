// SPDX-License-Identifier: GPL-3.0-or-later
// What all plots of the page have in common: colours, axes and layout.
import {byId} from './text.js';

/** A diverging colour scale, for values on both sides of zero. */
export const DIVERGING =
    '053061 2166ac 4393c3 92c5de d1e5f0 f7f7f7 fddbc7 f4a582 d6604d b2182b 67001f';

/** The name of that scale among the others: its middle is white and stands for zero. */
export const ABOUT_ZERO = 'blue to red';

/** Colour scales, evenly spaced from 0 to 1; all but the last are perceptually uniform. */
export const PALETTES = {
  viridis: '440154 482878 3e4989 31688e 26828e 1f9e89 35b779 6ece58 b5de2b fde725',
  cividis: '00224e 123570 3b496c 575d6d 707173 8a8678 a59c74 c3b369 e1cc55 fee838',
  magma: '000004 180f3d 440f76 721f81 9e2f7f cd4071 f1605d fd9668 feca8d fcfdbf',
  greys: 'ffffff d0d0d0 a3a3a3 777777 505050 2b2b2b 0a0a0a',
  [ABOUT_ZERO]: DIVERGING,
};

export const INK = '#17232e';

/** Settings of the plotting library. */
export const CONFIG = {
  displaylogo: false,
  displayModeBar: matchMedia('(hover: hover)').matches ? 'hover' : false,
  modeBarButtons: [['zoom2d', 'pan2d', 'zoomIn2d', 'zoomOut2d', 'resetScale2d', 'toImage']],
};

const FONT = {
  family: 'system-ui, "Segoe UI", Roboto, "Liberation Sans", sans-serif',
  size: 12.5,
  color: INK,
};
const AXIS = {
  showline: true,
  mirror: true,
  linecolor: '#8896a2',
  ticks: 'outside',
  tickcolor: '#8896a2',
  gridcolor: '#e6ebef',
  zeroline: false,
};

// Margins are fixed: fitting them to the labels would draw each plot several times.
const MARGIN = {
  l: 92,
  r: 16,
  t: 14,
  b: 50,
  autoexpand: false
};

/** Layout of plots with a colour bar. */
export const WITH_COLOUR_BAR = {
  margin: {...MARGIN, r: 88}
};

/** Layout of plots without one. */
export const WITHOUT_COLOUR_BAR = {
  margin: MARGIN
};

/**
 * Layout of plots with a legend above them that needs so many pixels: it gets a row per entry where
 * they do not fit.
 * @param {string} id
 * @param {number} pixels
 * @param {number} entries
 * @param {number} [r]  right margin
 */
export function legendAbove(id, pixels, entries, r = MARGIN.r) {
  const fits = byId(id).clientWidth - MARGIN.l - r >= pixels;
  return {
    margin: {...MARGIN, t: fits ? 40 : 20 + 20 * entries, r},
    showlegend: true,
    legend: {
      orientation: 'h',
      x: 0,
      y: 1,
      yanchor: 'bottom',
      font: {size: 11},
      bgcolor: 'rgba(0,0,0,0)'
    },
  };
}

/** @param {string} palette */
function colours(palette) {
  const rgb = (hex) => [0, 2, 4].map((at) => parseInt(hex.slice(at, at + 2), 16));
  return palette.split(' ').map(rgb);
}

function colourAt(stops, at) {
  const place = Math.min(Math.max(at, 0), 1) * (stops.length - 1);
  const below = Math.min(Math.floor(place), stops.length - 2);
  return stops[below].map((c, i) => Math.round(c + (stops[below + 1][i] - c) * (place - below)));
}

/**
 * Red, green and blue from 0 to 255 at so many places of a palette, evenly spaced.
 * @param {string} palette
 * @param {number} count
 */
export function colourTable(palette, count) {
  const stops = colours(palette);
  return [...Array(count).keys()].map((i) => colourAt(stops, i / (count - 1)));
}

/**
 * A colour scale for the plots; colours below the place `fade` (0 to 1) have that opacity.
 * @param {string} palette
 * @param {number} [fade]
 * @param {number} [opacity]
 * @returns {[number, string][]}
 */
export function colourScale(palette, fade = 0, opacity = 1) {
  const stops = colours(palette);
  const paint = (at, alpha) => `rgba(${colourAt(stops, at).join(',')},${alpha})`;
  const edge = Math.min(Math.max(fade, 0), 1);
  const places = [...Array(33).keys()].map((i) => i / 32);
  const low = edge > 0 ? [0, ...places.filter((at) => at > 0 && at < edge), edge] : [];
  const high = edge < 1 ? [edge, ...places.filter((at) => at > edge && at < 1), 1] : [];
  /** @type {(opacity: number) => (at: number) => [number, string]} */
  const stop = (alpha) => (at) => [at, paint(at, alpha)];
  return [...low.map(stop(opacity)), ...high.map(stop(1))];
}

/**
 * An axis with a title; `more` are settings of the plotting library.
 * @param {string} title
 * @param {object} [more]
 */
export function axis(title, more = {}) {
  return {...AXIS, title: {text: title, standoff: 8}, ...more};
}

/**
 * An axis of coordinates.
 * @param {string} title
 * @param {object} [more]
 */
export const metreAxis = (title, more = {}) => axis(title, {tickformat: ',~f', ...more});

/**
 * Ticks of a horizontal axis whose labels do not meet: as many as there is room for, and only one
 * in the middle of a narrow axis.
 * @param {number} pixels  length of the axis
 * @param {number[]} range  of its coordinates
 */
export function acrossTicks(pixels, [from, to]) {
  if (pixels >= 140) return {nticks: Math.floor(pixels / 70), tickangle: 0};
  const unit = 10 ** Math.floor(Math.log10(Math.max(to - from, 1e-2)));
  return {tickvals: [Math.round((from + to) / 2 / unit) * unit], tickangle: 0};
}

/**
 * Ticks of an upright axis.
 * @param {number} pixels  length of the axis
 */
export const upTicks = (pixels) => ({nticks: Math.max(2, Math.floor(pixels / 30))});

/**
 * Gives a plot the height with which both directions have the scale that its width allows.
 * @param {string} id
 * @param {{l: number, r: number, t: number, b: number}} margin
 * @param {[number, number]} size  what its area shows, across and upward
 * @param {[number, number]} limits  of the height of the area in pixels
 * @returns {[number, number]} pixels of what is shown, across and upward
 */
export function fitHeight(id, margin, [across, up], [min, max]) {
  const plot = byId(id);
  const width = Math.max(plot.clientWidth - margin.l - margin.r, 20);
  const height = Math.min(Math.max((width * up) / across, min), max);
  plot.style.height = `${Math.round(height + margin.t + margin.b)}px`;
  const scale = Math.min(width / across, height / up);
  return [scale * across, scale * up];
}

/** Whether the page is drawn for paper, where plots are lower. */
export const isPrinting = () => document.body.classList.contains('printing');

/** @type {(() => void)[]} */
const redraws = [];

/**
 * Has something drawn again whenever the page changes its size.
 * @param {() => void} redraw
 */
export const redrawOnResize = (redraw) => redraws.push(redraw);

export function redrawAll() {
  for (const redraw of redraws) redraw();
}

/**
 * The layout of a plot with these two axes, in the size of its element.
 * @param {string} id
 * @param {object} x
 * @param {object} y
 * @param {object} [more]
 */
export function layout(id, x, y, more = {}) {
  return {
    width: byId(id).clientWidth,
    height: byId(id).clientHeight,
    font: FONT,
    separators: '.\u202f',
    margin: MARGIN,
    hovermode: 'closest',
    dragmode: 'pan',
    showlegend: false,
    paper_bgcolor: '#fff',
    plot_bgcolor: '#fff',
    xaxis: x,
    yaxis: y,
    ...more,
  };
}
