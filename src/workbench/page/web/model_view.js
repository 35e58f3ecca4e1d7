// SPDX-License-Identifier: GPL-3.0-or-later
// Three sections through the model. Along each axis cells count from 0 with the coordinate: from
// the west, from the south, and from the bottom.
'use strict';

const SECTIONS = {
  plan: {across: 'easting', up: 'northing', fixed: 'elevation'},
  'west-east': {across: 'easting', up: 'elevation', fixed: 'northing'},
  'south-north': {across: 'northing', up: 'elevation', fixed: 'easting'},
};
const AIR = '#dde6ee';
const CROSS = '#c2185b';
const EXAGGERATIONS = [1, 2, 5, 10, 20];

function cellOf(mesh, at) {
  const {east, layers} = mesh.counts;
  return layers - 1 - at.elevation + layers * (at.easting + east * at.northing);
}

const cellsAlong = (mesh, axisName) => mesh.nodes[axisName].length - 1;

// Rows of a section from its lower edge up; `of` makes an entry of a cell's value.
function cut(view, section, of) {
  const {mesh, values} = view;
  const at = {...view.at};
  const rows = [];
  for (at[section.up] = 0; at[section.up] < cellsAlong(mesh, section.up); ++at[section.up]) {
    const row = [];
    for (at[section.across] = 0; at[section.across] < cellsAlong(mesh, section.across); ++at[section.across]) {
      row.push(of(values[cellOf(mesh, at)]));
    }
    rows.push(row);
  }
  return rows;
}

// The top of the cells below the ground along a vertical section, as steps.
function groundLine(view, section) {
  const {mesh} = view;
  const edges = mesh.nodes[section.across];
  const x = [];
  const y = [];
  const at = {...view.at};
  for (let i = 0; i + 1 < edges.length; ++i) {
    at[section.across] = i;
    const top = mesh.tops[at.easting + mesh.counts.east * at.northing];
    const elevation = mesh.nodes.elevation[mesh.counts.layers - top];
    x.push(edges[i], edges[i + 1]);
    y.push(elevation, elevation);
  }
  return {type: 'scatter', mode: 'lines', x, y, line: {color: INK, width: 1.6}, hoverinfo: 'skip'};
}

// Ticks of a logarithmic colour axis: 1, 2 and 5 times the powers of ten.
function logTicks(low, high) {
  const values = [];
  for (let power = Math.floor(Math.log10(low)); power <= Math.log10(high); ++power) {
    for (const step of [1, 2, 5]) values.push(step * 10 ** power);
  }
  const inside = values.filter((v) => v >= low * 0.999 && v <= high * 1.001);
  return {tickvals: inside.map(Math.log10), ticktext: inside.map((v) => figures(v, 2))};
}

// Where a susceptibility lies on the colour axis.
function toColourAxis(view) {
  const {low, scaling} = view;
  return scaling === 'log' ? (v) => (Number.isNaN(v) ? null : Math.log10(Math.max(v, low)))
    : (v) => (Number.isNaN(v) ? null : v);
}

function centreOf(view, axisName) {
  const nodes = view.mesh.nodes[axisName];
  const i = view.at[axisName];
  return (nodes[i] + nodes[i + 1]) / 2;
}

// Two lines over a section where the others cut it. They lie above the plot, not in it: shapes of
// the plot could not move without all cells being drawn anew.
function placeCrosshair(view, id) {
  const plot = byId(id);
  const area = plot.querySelector('.nsewdrag');
  if (!area) return;
  const section = SECTIONS[id];
  const box = ['x', 'y', 'width', 'height'].map((name) => Number(area.getAttribute(name)));
  const share = (axisName, range) => (centreOf(view, axisName) - range[0]) / (range[1] - range[0]);
  const across = share(section.across, plot.layout.xaxis.range);
  const up = share(section.up, plot.layout.yaxis.range);
  const line = (name, at, left, top, width, height) => {
    const element = plot.parentElement.querySelector(name);
    element.hidden = !(at >= 0 && at <= 1);
    const place = {left: plot.offsetLeft + left, top: plot.offsetTop + top, width, height};
    for (const [side, value] of Object.entries(place)) element.style[side] = `${value}px`;
  };
  line('.cross-upright', across, box[0] + across * box[2] - 1, box[1], 0, box[3]);
  line('.cross-level', up, box[0], box[1] + (1 - up) * box[3] - 1, box[2], 0);
}

function sectionTraces(view, id) {
  const section = SECTIONS[id];
  const toColour = toColourAxis(view);
  const [zmin, zmax] = [toColour(view.low), toColour(view.high)];
  const fading = view.threshold > 0;
  const fade = fading ? (toColour(view.threshold) - zmin) / (zmax - zmin) : 0;
  const edges = {x: view.mesh.nodes[section.across], y: view.mesh.nodes[section.up]};
  const cells = {
    type: 'heatmap', ...edges, z: cut(view, section, toColour), zmin, zmax, zsmooth: false,
    colorscale: colourScale(PALETTES[view.palette], fade, view.opacity), hoverinfo: 'none',
    showscale: id === 'plan',
    colorbar: {
      title: {text: 'SI', side: 'top'}, thickness: 16, outlinewidth: 0, ticks: 'outside', len: 1,
      exponentformat: 'power', ...(view.scaling === 'log' ? logTicks(view.low, view.high) : {}),
    },
  };
  const traces = [cells];
  // White below what is faded, so that it does not look like air.
  if (fading) {
    traces.unshift({
      type: 'heatmap', ...edges, z: cut(view, section, (v) => (Number.isNaN(v) ? null : 0)),
      colorscale: [[0, '#fff'], [1, '#fff']], showscale: false, hoverinfo: 'skip',
    });
  }
  if (id !== 'plan') {
    traces.push(groundLine(view, section));
  } else if (view.stations) {
    traces.push({
      type: 'scatter', mode: 'markers', x: view.survey.x, y: view.survey.y, hoverinfo: 'skip',
      marker: {size: 3, color: '#fff', line: {color: '#000', width: 0.6}},
    });
  }
  return traces;
}

function sectionLayout(view, id) {
  const section = SECTIONS[id];
  const limits = view.extents[view.extent];
  const range = (name) => ({
    range: limits[name], constrain: 'domain', showgrid: false,
    constraintoward: name === section.across ? 'left' : 'top',
  });
  const unit = {easting: 'Easting (m)', northing: 'Northing (m)', elevation: 'Elevation (m)'};
  return layout(
    metreAxis(unit[section.across], {...range(section.across), nticks: 6}),
    metreAxis(unit[section.up], {
      ...range(section.up), scaleanchor: 'x', scaleratio: id === 'plan' ? 1 : view.exaggeration,
    }),
    {...(id === 'plan' ? BESIDE_COLOUR_BAR : {}), plot_bgcolor: AIR, uirevision: `${view.extent} ${view.exaggeration}`});
}

function drawSection(view, id) {
  const ratio = (name) => view.extents[view.extent][name][1] - view.extents[view.extent][name][0];
  if (id === 'plan') fitHeight(id, ratio('northing') / ratio('easting'), 400, 700);
  return Plotly.react(id, sectionTraces(view, id), sectionLayout(view, id), CONFIG);
}

function describeCell(view, at, place) {
  const {mesh} = view;
  const value = view.values[cellOf(mesh, at)];
  const edges = (name) => span(mesh.nodes[name][at[name]], mesh.nodes[name][at[name] + 1]);
  const strong = document.createElement('strong');
  strong.textContent = Number.isNaN(value) ? 'air' : `${figures(value)} SI`;
  place.replaceChildren(strong,
    ` \u00b7 easting ${edges('easting')} \u00b7 northing ${edges('northing')} \u00b7 elevation ` +
    `${edges('elevation')} \u00b7 column ${at.easting + 1}, row ${at.northing + 1}, layer ` +
    `${mesh.counts.layers - at.elevation} (cell ${cellOf(mesh, at) + 1})`);
}

function describeSliders(view) {
  const places = {easting: 'column', northing: 'row', elevation: 'layer'};
  for (const [name, what] of Object.entries(places)) {
    const nodes = view.mesh.nodes[name];
    const i = view.at[name];
    const count = nodes.length - 1;
    const number = name === 'elevation' ? count - i : i + 1;
    const text = `${span(nodes[i], nodes[i + 1])}, ${what} ${number} of ${count}`;
    byId(`at-${name}`).textContent = text;
    byId(`slide-${name}`).value = i + 1;
    byId(`slide-${name}`).setAttribute('aria-valuetext', text);
  }
  describeCell(view, view.at, byId('at-crosshair'));
}

// Another cut through the model into a section that is drawn; quicker than drawing it anew.
function redrawCells(view, id) {
  const traces = sectionTraces(view, id);
  const all = (name) => traces.map((trace) => trace[name]);
  return Plotly.restyle(id, {x: all('x'), y: all('y'), z: all('z')});
}

// The crosshair goes to these places; sections whose cells change are drawn anew, once a frame.
function moveTo(view, places) {
  for (const [name, i] of Object.entries(places)) {
    if (view.at[name] === i) continue;
    view.at[name] = i;
    view.moved.add(name);
  }
  if (view.moved.size === 0 || view.frame) return;
  view.frame = requestAnimationFrame(() => {
    view.frame = 0;
    for (const [id, section] of Object.entries(SECTIONS)) {
      if (view.moved.has(section.fixed)) redrawCells(view, id);
      placeCrosshair(view, id);
    }
    view.moved.clear();
    describeSliders(view);
  });
}

// The range that the colours show: that of the last iteration, from a thousandth of its greatest value
// on a logarithmic axis, which needs a positive one.
function resetRange(view) {
  const [least, most] = view.range;
  const log = document.querySelector('#scaling option[value="log"]');
  if (!(most > 0)) {
    view.scaling = 'linear';
    log.disabled = true;
    log.textContent = 'logarithmic (no value is positive)';
  }
  view.high = most > least ? most : least + Math.max(Math.abs(least), 1e-6);
  view.low = view.scaling === 'log' ? Math.max(least, view.high / 1000) : least;
  byId('scaling').value = view.scaling;
  byId('range-low').value = figures(view.low, 4);
  byId('range-high').value = figures(view.high, 4);
}

function drawSections(view) {
  return Promise.all(Object.keys(SECTIONS).map((id) => drawSection(view, id)));
}

// Extents to look at: the whole mesh, or the stations with a rim and the upper part below them.
function extentsOf(mesh, survey) {
  const ends = (nodes) => [nodes[0], nodes[nodes.length - 1]];
  const whole = {
    easting: ends(mesh.nodes.easting), northing: ends(mesh.nodes.northing),
    elevation: ends(mesh.nodes.elevation),
  };
  const box = {easting: extremes(survey.x), northing: extremes(survey.y)};
  const longest = Math.max(box.easting[1] - box.easting[0], box.northing[1] - box.northing[0]);
  const rim = longest > 0 ? 0.12 * longest : Infinity;
  const around = (name) => [
    Math.max(whole[name][0], box[name][0] - rim), Math.min(whole[name][1], box[name][1] + rim)];
  const near = {
    easting: around('easting'), northing: around('northing'),
    elevation: [Math.max(whole.elevation[0], whole.elevation[1] - (longest > 0 ? 0.7 * longest : Infinity)),
      whole.elevation[1]],
  };
  const good = Object.values(near).every(([from, to]) => to > from);
  return {mesh: whole, survey: good ? near : whole};
}

// The exaggeration with which a section fills its plot, of those that can be chosen.
function fittingExaggeration(extent) {
  const width = Math.max(extent.easting[1] - extent.easting[0], extent.northing[1] - extent.northing[0]);
  const height = extent.elevation[1] - extent.elevation[0];
  return EXAGGERATIONS.filter((e) => e * height <= 0.45 * width).pop() ?? 1;
}

// Starts at the cell of the greatest susceptibility within the extent of the survey.
function startingPlace(mesh, values, extent) {
  const inside = (name, i) => {
    const nodes = mesh.nodes[name];
    const centre = (nodes[i] + nodes[i + 1]) / 2;
    return centre >= extent[name][0] && centre <= extent[name][1];
  };
  let best = null;
  let most = -Infinity;
  const at = {};
  for (at.northing = 0; at.northing < mesh.counts.north; ++at.northing) {
    if (!inside('northing', at.northing)) continue;
    for (at.easting = 0; at.easting < mesh.counts.east; ++at.easting) {
      if (!inside('easting', at.easting)) continue;
      for (at.elevation = 0; at.elevation < mesh.counts.layers; ++at.elevation) {
        const value = values[cellOf(mesh, at)];
        if (value > most) [best, most] = [{...at}, value];
      }
    }
  }
  return best ?? {easting: 0, northing: 0, elevation: 0};
}

function listenToSections(view) {
  for (const name of ['easting', 'northing', 'elevation']) {
    const slider = byId(`slide-${name}`);
    slider.max = cellsAlong(view.mesh, name);
    slider.addEventListener('input', () => moveTo(view, {[name]: Number(slider.value) - 1}));
  }
  const cellAt = (name, coordinate) => {
    const next = view.mesh.nodes[name].findIndex((node) => node > coordinate);
    return Math.min(Math.max(next - 1, 0), cellsAlong(view.mesh, name) - 1);
  };
  // Air has no cells that the plot would report, so the place is computed from the axes.
  for (const [id, section] of Object.entries(SECTIONS)) {
    const cellsUnder = (event) => {
      const {left, top, width, height} = byId(id).querySelector('.nsewdrag').getBoundingClientRect();
      const [across, up] = [(event.clientX - left) / width, 1 - (event.clientY - top) / height];
      if (!(across >= 0 && across <= 1 && up >= 0 && up <= 1)) return null;
      const {xaxis, yaxis} = byId(id).layout;
      const coordinate = ({range}, share) => range[0] + share * (range[1] - range[0]);
      return {
        [section.across]: cellAt(section.across, coordinate(xaxis, across)),
        [section.up]: cellAt(section.up, coordinate(yaxis, up)),
      };
    };
    const describeCellUnder = (event) => {
      const cells = cellsUnder(event);
      if (cells) describeCell(view, {...view.at, ...cells}, byId('at-pointer'));
    };
    byId(id).addEventListener('pointermove', describeCellUnder);
    byId(id).addEventListener('pointerdown', (down) => {
      // A finger comes down without having moved there.
      const cells = down.target.matches('.nsewdrag') ? cellsUnder(down) : null;
      describeCellUnder(down);
      window.addEventListener('pointerup', (up) => {
        const dragged = Math.hypot(up.clientX - down.clientX, up.clientY - down.clientY) > 3;
        if (!dragged && cells && up.pointerId === down.pointerId) moveTo(view, cells);
      }, {once: true});
    });
    byId(id).on('plotly_afterplot', () => placeCrosshair(view, id));
    byId(id).on('plotly_relayouting', () => {
      for (const line of byId(id).parentElement.querySelectorAll('.cross')) line.hidden = true;
    });
  }
}

function listenToControls(view) {
  const on = (id, set) => byId(id).addEventListener('change', () => {
    set(byId(id));
    drawSections(view);
  });
  on('palette', (input) => { view.palette = input.value; });
  on('extent', (input) => { view.extent = input.value; });
  on('exaggeration', (input) => { view.exaggeration = Number(input.value); });
  on('stations', (input) => { view.stations = input.checked; });
  on('threshold', (input) => { view.threshold = Number(input.value) || 0; });
  on('scaling', (input) => {
    view.scaling = input.value;
    resetRange(view);
  });
  const setRange = () => {
    const low = Number(byId('range-low').value);
    const high = Number(byId('range-high').value);
    if (high > low && (view.scaling === 'linear' || low > 0)) Object.assign(view, {low, high});
    byId('range-low').value = figures(view.low, 4);
    byId('range-high').value = figures(view.high, 4);
  };
  on('range-low', setRange);
  on('range-high', setRange);
  on('opacity', (input) => { view.opacity = Number(input.value) / 100; });
  byId('opacity').addEventListener('input', () => { byId('opacity-words').value = `${byId('opacity').value} %`; });
  byId('range-reset').addEventListener('click', () => {
    resetRange(view);
    drawSections(view);
  });
}

async function startModelView(mesh, survey, values) {
  const extents = extentsOf(mesh, survey);
  const view = {
    mesh, survey, values, extents, extent: 'survey', moved: new Set(), frame: 0,
    at: startingPlace(mesh, values, extents.survey), range: extremes(values), palette: 'viridis',
    scaling: 'linear', threshold: 0, opacity: 0.15, stations: false,
    exaggeration: fittingExaggeration(extents.survey),
  };
  byId('palette').replaceChildren(...Object.keys(PALETTES).map((name) => new Option(name, name)));
  byId('exaggeration').value = view.exaggeration;
  resetRange(view);
  await drawSections(view);
  listenToSections(view);
  listenToControls(view);
  for (const id of Object.keys(SECTIONS)) placeCrosshair(view, id);
  describeSliders(view);
  return view;
}

function showModel(view, values) {
  view.values = values;
  describeSliders(view);
  return drawSections(view);
}
