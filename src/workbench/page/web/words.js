// SPDX-License-Identifier: GPL-3.0-or-later
// Numbers in words, and what all plots of the page have in common.
'use strict';

const byId = (id) => document.getElementById(id);

// "6 799 450.5": to the centimetre, without zeros that say nothing.
function metres(value) {
  const [whole, part] = String(Math.abs(Math.round(value * 100) / 100)).split('.');
  const sign = value < 0 && whole + (part ?? '') !== '0' ? '−' : '';
  return sign + whole.replace(/\B(?=(\d{3})+$)/g, '\u202f') + (part ? '.' + part : '');
}

const span = (from, to) => `${metres(from)} to ${metres(to)} m`;

// The digits that the value has, at most `digits` of them.
function figures(value, digits = 6) {
  if (value === 0) return '0';
  const size = Math.abs(value);
  if (size >= 1e-4 && size < 1e7) return String(Number(value.toPrecision(digits)));
  const [number, exponent] = value.toExponential(digits - 1).split('e');
  return `${Number(number)}e${Number(exponent)}`;
}

// Least and greatest of the values that are numbers.
function extremes(values) {
  let least = Infinity;
  let most = -Infinity;
  for (const value of values) {
    if (value < least) least = value;
    if (value > most) most = value;
  }
  return [least, most];
}

// Colour scales that are perceptually uniform, evenly spaced from 0 to 1, and a diverging one.
const PALETTES = {
  viridis: '440154 482878 3e4989 31688e 26828e 1f9e89 35b779 6ece58 b5de2b fde725',
  cividis: '00224e 123570 3b496c 575d6d 707173 8a8678 a59c74 c3b369 e1cc55 fee838',
  magma: '000004 180f3d 440f76 721f81 9e2f7f cd4071 f1605d fd9668 feca8d fcfdbf',
  greys: 'ffffff d0d0d0 a3a3a3 777777 505050 2b2b2b 0a0a0a',
};
const DIVERGING =
  '053061 2166ac 4393c3 92c5de d1e5f0 f7f7f7 fddbc7 f4a582 d6604d b2182b 67001f';

function colours(palette) {
  return palette.split(' ').map((hex) => [0, 2, 4].map((at) => parseInt(hex.slice(at, at + 2), 16)));
}

function colourAt(stops, at) {
  const place = Math.min(Math.max(at, 0), 1) * (stops.length - 1);
  const below = Math.min(Math.floor(place), stops.length - 2);
  return stops[below].map((c, i) => Math.round(c + (stops[below + 1][i] - c) * (place - below)));
}

// A colour scale for the plots; colours below the place `fade` (0 to 1) have that opacity.
function colourScale(palette, fade = 0, opacity = 1) {
  const stops = colours(palette);
  const paint = (at, alpha) => `rgba(${colourAt(stops, at).join(',')},${alpha})`;
  const edge = Math.min(Math.max(fade, 0), 1);
  const places = [...Array(33).keys()].map((i) => i / 32);
  const low = edge > 0 ? [0, ...places.filter((at) => at > 0 && at < edge), edge] : [];
  const high = edge < 1 ? [edge, ...places.filter((at) => at > edge && at < 1), 1] : [];
  return [...low.map((at) => [at, paint(at, opacity)]), ...high.map((at) => [at, paint(at, 1)])];
}

const INK = '#17232e';
const FONT = {family: 'system-ui, "Segoe UI", Roboto, "Liberation Sans", sans-serif', size: 12.5, color: INK};
const AXIS = {
  showline: true, mirror: true, linecolor: '#8896a2', ticks: 'outside', tickcolor: '#8896a2',
  gridcolor: '#e6ebef', zeroline: false,
};
const CONFIG = {
  displaylogo: false, responsive: true, displayModeBar: matchMedia('(hover: hover)').matches ? 'hover' : false,
  modeBarButtons: [['zoom2d', 'pan2d', 'zoomIn2d', 'zoomOut2d', 'resetScale2d', 'toImage']],
};

function axis(title, more = {}) {
  return {...AXIS, title: {text: title, standoff: 8}, ...more};
}

const metreAxis = (title, more = {}) => axis(title, {tickformat: ',~f', ...more});

// Margins are fixed: fitting them to the labels would draw each plot several times.
const MARGIN = {l: 92, r: 16, t: 14, b: 50, autoexpand: false};
const BESIDE_COLOUR_BAR = {margin: {...MARGIN, r: 88}};
const LEGEND_ABOVE = {
  margin: {...MARGIN, t: 40}, showlegend: true, legend: {orientation: 'h', x: 0, y: 1.02, yanchor: 'bottom', font: {size: 11}},
};

// Makes a map as high as its width asks for, beside axis labels and colour bar.
function fitHeight(id, ratio, least, most) {
  const height = (byId(id).clientWidth - 170) * (ratio > 0 && ratio < Infinity ? ratio : 1) + 60;
  byId(id).style.height = `${Math.min(Math.max(height, least), most)}px`;
}

function layout(x, y, more = {}) {
  return {
    font: FONT, separators: '.\u202f', margin: MARGIN, hovermode: 'closest',
    dragmode: 'pan', showlegend: false, paper_bgcolor: '#fff', plot_bgcolor: '#fff',
    xaxis: x, yaxis: y, ...more,
  };
}
