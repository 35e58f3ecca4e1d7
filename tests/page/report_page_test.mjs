// SPDX-License-Identifier: GPL-3.0-or-later
// The page of a small run in a real browser. No length, width or count of the mesh occurs twice,
// the ground slopes both ways, and every cell of every iteration has a susceptibility of its own: a
// section that is transposed, mirrored or off by a layer, or a wrong iteration, shows wrong values.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync, statSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import path from 'node:path';
import {after, before, test} from 'node:test';
import {fileURLToPath, pathToFileURL} from 'node:url';

import {centres, edges, valueAt, WIDTHS, writeMesh} from './uneven_mesh.mjs';

const {QVX, QUORIVEX, BROWSER, DRIVER, SCREENSHOT} = process.env;
const {chromium} = await import(pathToFileURL(DRIVER));

const WEB = fileURLToPath(new URL('../../src/workbench/page/web', import.meta.url));
const INPUT = `<i>&"x'.inp`;
const folder = mkdtempSync(path.join(tmpdir(), 'quorivex_report_'));
const file = (name) => path.join(folder, name);
const run = (program, ...args) =>
    execFileSync(program, args, {cwd: folder, encoding: 'utf8', stdio: 'pipe'});
const numbersOf = (name) =>
    readFileSync(file(name), 'utf8').split('\n').filter((l) => l.trim()).map(Number);
const numbered = (iteration, kind) => `quorivex_${String(iteration).padStart(3, '0')}.${kind}`;
const model = (iteration) => numbersOf(numbered(iteration, 'sus'));
function data(name, column) {
  const lines =
      readFileSync(file(name), 'utf8').split('\n').filter((l) => l.trim() && l[0] !== '!').slice(3);
  return lines.map((line) => Number(line.trim().split(/\s+/)[column]));
}

let browser;
let page;
let iterations;
const complaints = [];

// Stations on a diagonal are the line "<A>", all others "B"; fiducials count by tens.
const DIAGONAL = [4, 9, 14, 19];
function nameLines() {
  const label = (i) => `! ${DIAGONAL.includes(i) ? '<A>' : 'B'}, ${10 * i}.5`;
  const lines = readFileSync(file('obs.mag'), 'utf8').trimEnd().split('\n');
  const first = lines.length - 20;
  writeFileSync(file('obs.mag'), [
    '! labels of the data: line, fiducial',
    ...lines.map((line, i) => (i < first ? line : `${line} ${label(i - first)}`)),
  ].join('\n') + '\n');
}

// Without smallness (the first alpha is 0), by which the models below would be found out not to be
// those of the run.
function makeRun(eastings, northings, prepare = () => {}) {
  writeMesh(file);
  const stations = [];
  for (const easting of eastings) {
    for (const northing of northings)
      stations.push(`${easting} ${northing} ${121 + (easting % 7)}`);
  }
  writeFileSync(
      file('stations.txt'), `65 12 52000\n65 12 1\n${stations.length}\n${stations.join('\n')}\n`);
  const truth = Array.from({length: 210}, (_, cell) => (cell % 11 === 7 ? 0.08 : 0.001));
  writeFileSync(file('truth.txt'), truth.join('\n'));
  const ground = ['--mesh', 'mesh.txt', '--topography', 'terrain.txt'];
  run(QVX, 'forward', ...ground, '--data', 'stations.txt', '--model', 'truth.txt', '--noise-floor',
      '1', '--output', 'obs.mag');
  prepare();
  run(QVX, 'sensitivity', ...ground, '--data', 'obs.mag', '--wavelet', 'none', '--output',
      'run.mtx');
  writeFileSync(file(INPUT), [
    '1', '20.0 0.02', 'obs.mag', 'run.mtx', 'VALUE 0.001', 'VALUE 0.0', 'null', 'VALUE 0.0',
    'VALUE 1.0', '0 1 1 1', 'SMOOTH_MOD', 'null'
  ].join('\n') + '\n');
  run(QUORIVEX, INPUT, '1');
  iterations =
      readFileSync(file('quorivex.out'), 'utf8').split('\n').filter((l) => /^ +\d/.test(l)).length;
  for (let iteration = 1; iteration <= iterations; ++iteration) {
    const own = model(iteration).map(
        (value, cell) => (value === -100 ? value : (1000 * iteration + cell) * 1.0007e-5));
    writeFileSync(
        file(numbered(iteration, 'sus')), own.map((v) => v.toExponential(5)).join('\n') + '\n');
  }
}

// Where a place of a plot is in the window, after it has been scrolled into view.
function screenPlace(id, x, y) {
  return page.evaluate(([name, px, py]) => {
    const plot = document.getElementById(name);
    plot.scrollIntoView({block: 'center', behavior: 'instant'});
    const {xaxis, yaxis} = plot._fullLayout;
    const box = plot.getBoundingClientRect();
    return [box.left + xaxis._offset + xaxis.d2p(px), box.top + yaxis._offset + yaxis.d2p(py)];
  }, [id, x, y]);
}

// The pointer over a place of a plot: what the page says, and what colour value it drew there.
async function pointAt(id, x, y) {
  await page.mouse.move(5, 5);
  await page.evaluate(() => {
    document.getElementById('at-pointer').textContent = '';
  });
  const at = await screenPlace(id, x, y);
  await page.mouse.move(at[0] + 3, at[1]);
  await page.mouse.move(...at);
  await page.waitForFunction(() => document.getElementById('at-pointer').textContent !== '');
  const drawn = await page.evaluate(([name, px, py]) => {
    const cells = document.getElementById(name).data.find((trace) => trace.colorscale?.length > 2);
    const brick = (nodes, at) => nodes.findIndex((node) => node > at) - 1;
    return cells.z[brick(cells.y, py)][brick(cells.x, px)];
  }, [id, x, y]);
  return {words: await page.textContent('#at-pointer'), drawn};
}

const susceptibility = (words) => (words.startsWith('air') ? -100 : parseFloat(words));

// Waits until the next frame has been drawn.
const frame = () => page.evaluate(
    () => new Promise(
        (done) =>
            window.requestAnimationFrame(() => window.requestAnimationFrame(() => done(null)))));

async function slide(name, position) {
  await page.locator(`#slide-${name}`).fill(String(position));
  await frame();
}

async function chooseIteration(number) {
  await page.selectOption('#iteration', String(number));
  await page.waitForFunction(
      (n) => document.querySelector('#iterations tr.shown th').textContent === String(n), number);
}

const drawnData = (id) =>
    page.evaluate((name) => Array.from(document.getElementById(name).data[0].marker.color), id);

function near(actual, expected, what) {
  assert.ok(
      Math.abs(actual - expected) <= 2e-6 * Math.abs(expected),
      `${what}: ${actual}, not ${expected}`);
}

// The outer faces of the cells of at least that magnitude, found from the widths alone: sorted
// lowest and highest corners.
function expectedFaces(values, threshold) {
  const shown = (i, j, k) => {
    const inside = [[i, 6], [j, 5], [k, 7]].every(([n, count]) => n >= 0 && n < count);
    const value = inside ? values[k + 7 * (i + 6 * j)] : -100;
    return value !== -100 && Math.abs(value) >= threshold;
  };
  const [east, north, down] = ['easting', 'northing', 'elevation'].map(edges);
  const faces = [];
  for (let cell = 0; cell < values.length; ++cell) {
    const [k, i, j] = [cell % 7, Math.floor(cell / 7) % 6, Math.floor(cell / 42)];
    if (!shown(i, j, k)) continue;
    const low = [east[i], north[j], down[k + 1]];
    const high = [east[i + 1], north[j + 1], down[k]];
    const neighbours =
        [[i - 1, j, k], [i + 1, j, k], [i, j - 1, k], [i, j + 1, k], [i, j, k + 1], [i, j, k - 1]];
    neighbours.forEach((at, side) => {
      const end = (corner, own) => corner.map((v, axis) => (axis === side >> 1 ? own[axis] : v));
      const own = side % 2 ? high : low;
      if (!shown(...at)) faces.push([...end(low, own), ...end(high, own)].join(' '));
    });
  }
  return faces.sort();
}

// The same of what the picture in three dimensions draws.
const drawnFaces = (part) => page.evaluate((name) => {
  const {[name]: shapes, middle} = document.getElementById('solid-canvas').drawn;
  const faces = [];
  for (let at = 0; at < shapes.length; at += 9) {
    const end = (edges) => [0, 1, 2].map((axis) => {
      const sum = edges.reduce((total, edge) => total + shapes[at + edge + axis], middle[axis]);
      return Math.round(1000 * sum) / 1000;
    });
    faces.push([...end([0]), ...end([0, 3, 6])].join(' '));
  }
  return faces.sort();
}, part);

async function showFrom(threshold, count) {
  await page.fill('#solid-threshold', String(threshold));
  await page.press('#solid-threshold', 'Enter');
  await page.waitForFunction(
      (n) => document.getElementById('solid-note').textContent.startsWith(`${n} cell`), count);
}

// Centre (from the left and from the top, 0 to 1) and number of the yellow pixels of the picture.
async function yellow() {
  const png = (await page.locator('#solid-canvas').screenshot()).toString('base64');
  return page.evaluate(async (source) => {
    const picture = document.createElement('img');
    picture.src = `data:image/png;base64,${source}`;
    await picture.decode();
    const {width, height} = picture;
    const context = document.createElement('canvas').getContext('2d');
    Object.assign(context.canvas, {width, height});
    context.drawImage(picture, 0, 0);
    const pixels = context.getImageData(0, 0, width, height).data;
    let [x, y, count] = [0, 0, 0];
    for (let i = 0; i < width * height; ++i) {
      if (pixels[4 * i] - pixels[4 * i + 2] < 90) continue;
      [x, y, count] = [x + i % width, y + Math.floor(i / width), count + 1];
    }
    return {x: x / count / width, y: y / count / height, count};
  }, png);
}

before(async () => {
  makeRun([1123, 1184, 1247, 1329, 1411], [2061, 2117, 2178, 2243], nameLines);
  run(QVX, 'report', INPUT);
  browser = await chromium.launch({
    executablePath: BROWSER,
    args: ['--no-sandbox', '--use-angle=swiftshader', '--enable-unsafe-swiftshader'],
  });
  page = await browser.newPage({viewport: {width: 1400, height: 1000}, reducedMotion: 'reduce'});
  page.setDefaultTimeout(120_000);
  page.on('console', (message) => complaints.push(message.text()));
  page.on('pageerror', (error) => complaints.push(error.message));
  page.on('request', (request) => {
    if (!/^(file|blob|data):/.test(request.url())) complaints.push(request.url());
  });
  await page.goto(pathToFileURL(file('quorivex.html')).href);
  await page.waitForSelector('body[aria-busy="false"]');
  await page.selectOption('#extent', 'mesh');
});

after(async () => {
  await browser?.close();
  rmSync(folder, {recursive: true});
});

test('values under the pointer are those of the model file, in all sections', async () => {
  const sections = [
    ['plan', 'easting', 'northing', 'elevation'], ['west-east', 'easting', 'elevation', 'northing'],
    ['south-north', 'northing', 'elevation', 'easting']
  ];
  const values = model(iterations);
  let air = 0;
  for (const [id, across, up, fixed] of sections) {
    const upward = fixed === 'elevation' ? centres(fixed).reverse() : centres(fixed);
    for (const position of [1, 3, upward.length]) {
      await slide(fixed, position);
      for (const [i, x] of centres(across).entries()) {
        const y = centres(up)[(i + position) % centres(up).length];
        const expected = valueAt(values, {[across]: x, [up]: y, [fixed]: upward[position - 1]});
        const {words, drawn} = await pointAt(id, x, y);
        near(susceptibility(words), expected, `${id} at ${x}, ${y}, slider ${position}`);
        if (expected === -100) {
          ++air;
          assert.equal(drawn, null);
        } else {
          near(drawn, expected, 'colour');
        }
      }
    }
  }
  assert.ok(air >= 5, 'too little air to tell layers apart');
});

// Elevation of the ground of a column, from the file.
function groundAt(values, column, row) {
  const first = values.slice(7 * (column + 6 * row)).findIndex((v) => v !== -100);
  return edges('elevation')[first];
}

test('a section below the ground follows it, column by column', async () => {
  const values = model(iterations);
  await page.selectOption('#level', 'depth');
  for (const depth of [6, 14, 46, 160]) {
    await slide('depth', depth);
    const drawn = await page.evaluate(() => document.getElementById('plan').data[0].z);
    const expected =
        centres('northing').map((northing, row) => centres('easting').map((easting, i) => {
          const elevation = groundAt(values, i, row) - depth - 1e-6;
          return elevation < edges('elevation').at(-1) ?
              null :
              valueAt(values, {easting, northing, elevation});
        }));
    drawn.flat().forEach((v, i) => {
      if (expected.flat()[i] === null)
        assert.equal(v, null);
      else
        near(v, expected.flat()[i], `depth ${depth}, column ${i}`);
    });
    if (depth === 160) assert.ok(drawn.flat().includes(null), 'no column ends above that depth');
  }
  await slide('depth', 14);
  const {words, drawn} = await pointAt('plan', centres('easting')[4], centres('northing')[1]);
  near(susceptibility(words), drawn, 'under the pointer');
  const south = centres('elevation')[5];
  const at = await screenPlace('south-north', centres('northing')[3], south);
  await page.mouse.click(...at);
  await page.waitForFunction(
      () => document.getElementById('at-crosshair').textContent.includes('layer 6 '));
  const column = Number(await page.inputValue('#slide-easting')) - 1;
  near(
      parseFloat(await page.textContent('#at-depth')), groundAt(values, column, 3) - south,
      'depth');
  await page.selectOption('#level', 'elevation');
});

test('a profile has the data of its line, and below it the cells that it crosses', async () => {
  assert.deepEqual(await page.locator('#line option').allTextContents(), ['B', '<A>']);
  await page.selectOption('#line', {label: '<A>'});
  await page.waitForFunction(
      () => document.getElementById('profile-note').textContent.startsWith('4 data'));
  const traces = await page.evaluate(
      () => document.getElementById('profile').data.map(
          ({type, name, x, y, z}) => ({type, name, x: Array.from(x), y: Array.from(y), z})));
  const named = (text) => traces.find((trace) => trace.name?.startsWith(text));
  const of = (column) => DIAGONAL.map((i) => data('obs.mag', column)[i]);
  const [x, y, observed, deviation] = [of(0), of(1), of(3), of(4)];
  const predicted = DIAGONAL.map((i) => data(numbered(iterations, 'pre'), 3)[i]);
  const at = x.map(
      (_, i) => x.slice(1, i + 1).reduce(
          (sum, to, k) => sum + Math.hypot(to - x[k], y[k + 1] - y[k]), 0));
  named('observed').x.forEach((v, i) => assert.ok(Math.abs(v - at[i]) < 1e-6));
  named('observed').y.forEach((v, i) => near(v, observed[i], 'observed'));
  named('predicted').y.forEach((v, i) => near(v, predicted[i], 'predicted'));
  named('residual')
      .y.forEach(
          (v, i) => assert.ok(Math.abs(v - (observed[i] - predicted[i]) / deviation[i]) < 1e-6));
  const cells = traces.find((trace) => trace.type === 'heatmap');
  const values = model(iterations);
  for (let distance = 0.7; distance < at.at(-1); distance += 3.1) {
    const leg = at.findIndex((end) => end > distance) - 1;
    const share = (distance - at[leg]) / (at[leg + 1] - at[leg]);
    const place = {
      easting: x[leg] + share * (x[leg + 1] - x[leg]),
      northing: y[leg] + share * (y[leg + 1] - y[leg]),
    };
    const piece = cells.x.findIndex((edge) => edge > distance) - 1;
    [...centres('elevation')].reverse().forEach((elevation, layer) => {
      const expected = valueAt(values, {...place, elevation});
      if (expected === -100)
        assert.equal(cells.z[layer][piece], null);
      else
        near(cells.z[layer][piece], expected, `at ${distance} m, ${elevation} m`);
    });
  }
});

// Pairs of labels of horizontal axes that meet, and what a plot cuts off or covers, in all plots.
const labelsThatMeet = () => page.evaluate(() => {
  const found = [];
  for (const plot of document.querySelectorAll('.plot')) {
    const boxes = [...plot.querySelectorAll('.xtick text, .g-xtitle text')].map(
        (text) => ({text: text.textContent, box: text.getBoundingClientRect()}));
    const around = plot.getBoundingClientRect();
    const area = plot.querySelector('.nsewdrag').getBoundingClientRect();
    for (const title of plot.querySelectorAll('.g-ytitle text')) {
      const box = title.getBoundingClientRect();
      if (box.left < around.left - 1 || box.right > area.left) found.push(`${plot.id}: y title`);
    }
    const legend = plot.querySelector('.legend')?.getBoundingClientRect();
    if (legend && legend.top < around.top - 1) found.push(`${plot.id}: legend`);
    boxes.forEach((a, i) => boxes.slice(i + 1).forEach((b) => {
      const apart = a.box.right <= b.box.left || b.box.right <= a.box.left ||
          a.box.bottom <= b.box.top + 1 || b.box.bottom <= a.box.top + 1;
      if (!apart) found.push(`${plot.id}: ${a.text} ${b.text}`);
    }));
  }
  return found;
});

test('exaggeration makes sections higher, labels never meet, the crosshair can go', async () => {
  const size = () => page.evaluate(() => {
    const {width, height} = document.querySelector('#west-east .nsewdrag').getBoundingClientRect();
    return [width, height];
  });
  await page.selectOption('#exaggeration', '1');
  const before = await size();
  await page.selectOption('#exaggeration', '2');
  const after = await size();
  near(after[0], before[0], 'width');
  assert.ok(Math.abs(after[1] / before[1] - 2) < 0.02, `${before} ${after}`);
  for (const exaggeration of ['1', '20']) {
    await page.selectOption('#exaggeration', exaggeration);
    assert.deepEqual(await labelsThatMeet(), []);
  }
  await page.selectOption('#exaggeration', '1');
  await page.uncheck('#crosshair');
  assert.equal(await page.locator('.cross:visible').count(), 0);
  await page.check('#crosshair');
});

test('sliders move by keys and by a click into a section, and say where they are', async () => {
  await slide('easting', 2);
  await page.focus('#slide-easting');
  await page.keyboard.press('ArrowRight');
  await page.waitForFunction(
      () => document.getElementById('at-crosshair').textContent.includes('column 3,'));
  assert.match(
      await page.getAttribute('#slide-easting', 'aria-valuetext'),
      /1.150 to 1.210 m, column 3 of 6/);
  await pointAt('plan', 1455, 2030);
  await page.mouse.down();
  await page.mouse.up();
  await page.waitForFunction(
      () => document.getElementById('at-crosshair').textContent.includes('column 6, row 1'));
  assert.equal(await page.inputValue('#slide-northing'), '1');
  const ground = await page.evaluate(() => document.getElementById('south-north').data.at(-1).y);
  const layers = edges('elevation');
  const tops = model(iterations);
  const column = Number(await page.inputValue('#slide-easting')) - 1;
  const expected = WIDTHS.northing.flatMap((_, row) => {
    const first =
        tops.slice(7 * (column + 6 * row), 7 * (column + 6 * row) + 7).findIndex((v) => v !== -100);
    return [layers[first], layers[first]];
  });
  assert.deepEqual(ground, expected);
});

test('a tap moves the sections to where it is, not to where the pointer was before', async () => {
  await pointAt('plan', 1455, 2030);
  await page.evaluate(([px, py]) => {
    const plot = document.getElementById('plan');
    const {xaxis, yaxis} = plot._fullLayout;
    const box = plot.getBoundingClientRect();
    const place = {
      clientX: box.left + xaxis._offset + xaxis.d2p(px),
      clientY: box.top + yaxis._offset + yaxis.d2p(py)
    };
    for (const type of ['pointerdown', 'pointerup']) {
      plot.querySelector('.nsewdrag')
          .dispatchEvent(new PointerEvent(
              type, {...place, pointerId: 7, pointerType: 'touch', bubbles: true}));
    }
  }, [1245, 2200]);
  await page.waitForFunction(
      () => document.getElementById('at-crosshair').textContent.includes('column 4, row 4'));
});

test(
    'the iteration that is chosen is the one shown, observed and predicted data in their places',
    async () => {
      for (const iteration of [1, iterations]) {
        await chooseIteration(iteration);
        const predicted = data(numbered(iteration, 'pre'), 3);
        const observed = data('obs.mag', 3);
        const deviation = data('obs.mag', 4);
        (await drawnData('observed')).forEach((v, i) => near(v, observed[i], 'observed'));
        (await drawnData('predicted')).forEach((v, i) => near(v, predicted[i], 'predicted'));
        (await drawnData('residual'))
            .forEach(
                (v, i) =>
                    assert.ok(Math.abs(v - (observed[i] - predicted[i]) / deviation[i]) < 1e-6));
        const scatter = await page.evaluate(() => {
          const {x, y} = document.getElementById('scatter').data[1];
          return [Array.from(x), Array.from(y)];
        });
        assert.deepEqual(scatter, [await drawnData('observed'), await drawnData('predicted')]);
        const {words} = await pointAt('plan', centres('easting')[1], centres('northing')[3]);
        const layer = 7 - Number(await page.inputValue('#slide-elevation'));
        near(
            susceptibility(words), valueAt(model(iteration), {
              easting: centres('easting')[1],
              northing: centres('northing')[3],
              elevation: centres('elevation')[layer]
            }),
            `iteration ${iteration}`);
      }
    });

test('colours: logarithmic axis, range and fading leave air as it is', async () => {
  await page.selectOption('#scaling', 'log');
  await page.fill('#threshold', String((1000 * iterations + 100) * 1e-5));
  await page.press('#threshold', 'Enter');
  await page.waitForFunction(() => document.getElementById('west-east').data.length === 3);
  const [mask, cells] = await page.evaluate(
      () => document.getElementById('west-east').data.slice(0, 2).map((t) => t.z));
  assert.deepEqual(mask.flat().map((v) => v === null), cells.flat().map((v) => v === null));
  assert.ok(cells.flat().includes(null));
  const scale = await page.evaluate(
      () => document.getElementById('plan').data[1].colorscale.map((stop) => stop[1]));
  assert.ok(
      scale.some((colour) => colour.endsWith(',0.15)')) &&
      scale.some((colour) => colour.endsWith(',1)')));
  assert.ok(await page.evaluate(
      () => document.getElementById('plan').data[1].zmin <
          document.getElementById('plan').data[1].zmax));
  await page.selectOption('#scaling', 'linear');
  await page.fill('#threshold', '');
  await page.press('#threshold', 'Enter');
  await page.fill('#range-high', '0.3');
  await page.press('#range-high', 'Enter');
  assert.equal(await page.evaluate(() => document.getElementById('plan').data[0].zmax), 0.3);
});

test('maps: the full range until another is chosen, residuals in nT', async () => {
  const colours = (id) => page.evaluate((name) => {
    const {cmin, cmax} = document.getElementById(name).data[0].marker;
    return [cmin, cmax];
  }, id);
  const observed = data('obs.mag', 3);
  const full = [Math.min(...observed), Math.max(...observed)];
  (await colours('predicted')).forEach((v, i) => near(v, full[i], 'range'));
  await page.fill('#data-high', '7.5');
  await page.press('#data-high', 'Enter');
  assert.equal((await colours('observed'))[1], 7.5);
  await page.selectOption('#data-palette', 'blue to red');
  const [low, high] = await colours('observed');
  assert.equal(low, -high);
  await page.selectOption('#residual-unit', 'nT');
  const predicted = data(numbered(iterations, 'pre'), 3);
  (await drawnData('residual'))
      .forEach((v, i) => assert.ok(Math.abs(v - (observed[i] - predicted[i])) < 1e-6));
  assert.equal(await page.textContent('#residual-title'), 'Residual (nT)');
  const profile =
      await page.evaluate(() => Array.from(document.getElementById('profile').data.at(-1).y));
  profile.forEach((v, i) => {
    const datum = DIAGONAL[i];
    assert.ok(Math.abs(v - (observed[datum] - predicted[datum])) < 1e-6);
  });
});

test('in three dimensions stand the outer faces of the cells above the threshold', async () => {
  assert.ok(!await page.evaluate(() => 'drawn' in document.getElementById('solid-canvas')));
  const scripts = await page.textContent('body > script:not([type])');
  assert.ok(scripts.length < 150_000, `${scripts.length} characters of scripts`);
  await page.click('#solid summary');
  await page.click('#range-reset');
  const values = model(iterations);
  const ground = values.filter((v) => v !== -100);
  await page.waitForFunction(
      () => /^([3-9]|1\d) cells have/.test(document.getElementById('solid-note').textContent));
  await page.locator('#solid-slide').fill('200');
  const half = Number(await page.inputValue('#solid-threshold'));
  assert.ok(Math.abs(half / Math.max(...values) - 0.5) < 0.01, `${half}`);
  await showFrom(half, ground.filter((v) => v >= half).length);
  for (const threshold of [0, values[100], values[101], values[161], Math.max(...values)]) {
    await showFrom(threshold, ground.filter((v) => v >= threshold).length);
    assert.deepEqual(await drawnFaces('cells'), expectedFaces(values, threshold));
  }
  // The terrain is what is left of the outer faces of all ground without the rim of the mesh.
  const numbers = expectedFaces(values, 0).map((face) => face.split(' ').map(Number));
  const terrain = numbers.filter((face) => {
    const onSide = ['easting', 'northing'].some(
        (name, axis) => face[axis] === face[axis + 3] &&
            [edges(name)[0], edges(name).at(-1)].includes(face[axis]));
    return !onSide && face[5] !== edges('elevation').at(-1);
  });
  assert.deepEqual(await drawnFaces('ground'), terrain.map((face) => face.join(' ')));
  const colours = await page.evaluate(
      () =>
          Array.from(document.getElementById('solid-canvas').drawn.colours, (c) => c % 0x1000000));
  assert.equal(Math.max(...colours), 0x25e7fd);  // the last of the scale, where light falls on it
});

test('in three dimensions stand the cells of the extent', async () => {
  const values = model(iterations);
  const within = (name, [first, last]) => {
    const rim = 0.12 * (1411 - 1123);
    return centres(name).map((centre) => centre >= first - rim && centre <= last + rim);
  };
  const [east, north] = [within('easting', [1123, 1411]), within('northing', [2061, 2243])];
  const part = values.map(
      (v, cell) => (east[Math.floor(cell / 7) % 6] && north[Math.floor(cell / 42)] ? v : -100));
  await page.selectOption('#extent', 'survey');
  await showFrom(0, part.filter((v) => v !== -100).length);
  assert.deepEqual(await drawnFaces('cells'), expectedFaces(part, 0));
  assert.match(await page.textContent('#solid-note'), /more lie outside the extent/);
  await page.selectOption('#extent', 'mesh');
  await showFrom(Math.max(...values), 1);

  const source = readFileSync(path.join(WEB, 'solid_cells.js'), 'utf8');
  const {windowOf} = await import(`data:text/javascript,${encodeURIComponent(source)}`);
  const nodes = {easting: [0, 2, 4, 8], northing: [0, 1, 2], elevation: [-50, -10, 0, 4]};
  const extent = {easting: [1, 5.9], northing: [0.6, 2], elevation: [-30, 1.9]};
  assert.deepEqual(
      windowOf({nodes, counts: {layers: 3}}, extent),
      {east: [0, 2], north: [1, 2], layers: [1, 3]});
});

// The strongest cell is the last one: in the north-east, at the bottom.
test('the picture is turned by keys and by the mouse, and is not mirrored', async () => {
  await page.click('#solid-ground');
  await page.click('#solid-stations');
  const views = {Above: [1, -1], South: [1, 1], East: [1, 1]};
  for (const [name, [right, down]] of Object.entries(views)) {
    await page.click(`#solid button:text-is("${name}")`);
    await frame();
    const place = await yellow();
    assert.ok(
        right * (place.x - 0.5) > 0.1 && down * (place.y - 0.5) > 0.1,
        name + JSON.stringify(place));
  }
  await page.click('#solid button:text-is("Above")');
  await page.focus('#solid-canvas');
  for (let n = 0; n < 18; ++n) await page.keyboard.press('ArrowRight');
  await page.waitForFunction(
      () => document.getElementById('solid-camera').textContent.includes('azimuth 90° up'));
  const turned = await yellow();
  assert.ok(turned.x < 0.45 && turned.y < 0.4, JSON.stringify(turned));
  for (const [key, less, more] of [['+', 1.2, 1.8], ['-', 0.5, 0.9]]) {
    const {count} = await yellow();
    await page.keyboard.press(key);
    await frame();
    const factor = (await yellow()).count / count;
    assert.ok(factor > less && factor < more, `${key}: ${factor}`);
  }
  await page.keyboard.press('Home');
  await page.waitForFunction(
      () => document.getElementById('solid-camera').textContent.includes('south-south-west, 25°'));
  const {x, y, width, height} = await page.locator('#solid-canvas').boundingBox();
  await page.mouse.move(x + width / 2, y + height / 2);
  await page.mouse.down();
  await page.mouse.move(x + width / 2 - 62.5, y + height / 2 + 50);
  await page.mouse.up();
  await page.waitForFunction(
      () => document.getElementById('solid-camera').textContent.includes('the south, 45°'));
});

test('the verdict has the figures of the run, and names are shown as they are', async () => {
  const last = readFileSync(file('quorivex.out'), 'utf8')
                   .trimEnd()
                   .split('\n')
                   .filter((l) => /^ +\d/.test(l))
                   .at(-1);
  const misfit = Number(last.trim().split(/\s+/)[2]);
  const headline = await page.textContent('.verdict .headline');
  assert.match(headline, /as closely as was asked/);
  assert.ok(Math.abs(Number(headline.match(/misfit ([\d.e+]+)/)[1]) / misfit - 1) < 1e-3, headline);
  assert.match(await page.textContent('#verdict'), /target 400/);
  const residuals =
      data('obs.mag', 3)
          .map((v, i) => (v - data(numbered(iterations, 'pre'), 3)[i]) / data('obs.mag', 4)[i]);
  const worst =
      residuals.reduce((most, r, i) => (Math.abs(r) > Math.abs(residuals[most]) ? i : most), 0);
  const place = (column) => data('obs.mag', column)[worst].toFixed(0);
  assert.ok((await page.textContent('.verdict'))
                .includes(
                    `${residuals[worst].toFixed(1)} standard deviations, at datum ` +
                    `${worst + 1} (easting ${place(0)} m, northing ${place(1)} m).`));
  assert.match(await page.textContent('#verdict'), /unknown\s*too few data/);
  assert.match(
      await page.textContent('#parameters'),
      /tolc0\.02[^]*remanence[^]*not modelled[^]*full[^]*all \d+ ground cells[^]*Meshmesh\.txt/);
  assert.match(await page.textContent('#data thead'), /LineFiducial/);
  assert.match(
      await page.textContent('.dates'), /^Started on \d{4}-\d\d-\d\d [\d:]{8}, ended on \d{4}-/);
  assert.equal(await page.textContent('h1'), `Report of ${INPUT}`);
  assert.equal(await page.locator('#iterations tbody tr').count(), iterations);
});

test('a datum under the pointer, a page for a narrow screen and for paper', async () => {
  const at = await screenPlace('observed', 1247, 2178);
  await page.mouse.move(at[0] + 1, at[1]);
  await page.mouse.move(...at);
  await page.waitForFunction(
      () => /datum 11 \S line B \S fiducial 100\.5 /.test(
          document.getElementById('at-datum').textContent));
  const [, observed, predicted] =
      (await page.textContent('#at-datum')).match(/observed (\S+) nT, predicted (\S+) nT/);
  const shown = (name, column) => Number(data(name, column)[10].toPrecision(6));
  assert.deepEqual(
      [Number(observed), Number(predicted)],
      [shown('obs.mag', 3), shown(numbered(iterations, 'pre'), 3)]);
  await page.evaluate(() => window.scrollTo(0, 0));
  await page.screenshot({path: SCREENSHOT, fullPage: true});
  assert.ok(statSync(SCREENSHOT).size > 100_000);
  const paper = (await page.pdf()).toString('latin1');
  const pages = paper.match(/\/Type \/Page\b/g).length;
  assert.ok(pages >= 2 && pages <= 4, `${pages} pages`);
  await page.waitForFunction(() => !document.body.classList.contains('printing'));
  await page.setViewportSize({width: 400, height: 800});
  await page.waitForTimeout(500);
  assert.deepEqual(await labelsThatMeet(), []);
  assert.ok(
      await page.evaluate(() => document.documentElement.scrollWidth) <= 400,
      'wider than a narrow screen');
});

test('signs: colours about zero for both, no logarithmic axis without a positive one', async () => {
  const last = numbered(iterations, 'sus');
  const own = readFileSync(file(last));
  const colours = async (offset) => {
    const values =
        model(iterations)
            .map((value, cell) => (value === -100 ? value : (offset - (cell % 5)) / 1000));
    writeFileSync(file(last), values.join('\n') + '\n');
    run(QVX, 'report', INPUT, '--output', 'signs.html');
    writeFileSync(file(last), own);
    await page.goto(pathToFileURL(file('signs.html')).href);
    await page.waitForSelector('body[aria-busy="false"]');
    return page.evaluate(() => {
      const {zmin, zmax} = document.getElementById('plan').data[0];
      return [zmin, zmax, document.getElementById('palette').value];
    });
  };
  assert.deepEqual(await colours(1), [-0.003, 0.003, 'blue to red']);
  assert.equal(await page.inputValue('#range-low'), '-0.003');
  assert.deepEqual(await colours(0), [-0.004, 0, 'viridis']);
  assert.match(
      await page.textContent('#scaling option[value="log"]:disabled'), /no value is positive/);
  await page.selectOption('#extent', 'mesh');
  await page.click('#solid summary');
  const values = model(iterations).map((v, cell) => (v === -100 ? v : -(cell % 5) / 1000));
  await showFrom(0.003, values.filter((v) => v !== -100 && v <= -0.003).length);
  assert.deepEqual(await drawnFaces('cells'), expectedFaces(values, 0.003));
});

test('a survey along one line begins with its profile', async () => {
  makeRun([1247], [2061, 2089, 2117, 2146, 2178, 2211, 2243]);
  run(QVX, 'report', INPUT);
  await page.setViewportSize({width: 1000, height: 800});
  await page.goto(pathToFileURL(file('quorivex.html')).href);
  await page.waitForSelector('body[aria-busy="false"]');
  assert.deepEqual(
      await page.locator('section.card h2').allTextContents(),
      ['Profiles', 'Model', 'Data', 'Iterations', 'Parameters and files']);
  assert.deepEqual(await page.locator('#line option').allTextContents(), ['1 of 1']);
  assert.match(await page.textContent('#profile-note'), /^7 data from 1.247 E 2.061 N to/);
  assert.deepEqual(await labelsThatMeet(), []);
});

test('without WebGL the page says so, and the rest of it stands', async () => {
  const other = await browser.newPage();
  await other.addInitScript(() => {
    const canvas = Object.getPrototypeOf(document.createElement('canvas'));
    const own = canvas.getContext;
    canvas.getContext = function(
        kind, ...more) { return kind.startsWith('webgl') ? null : own.call(this, kind, ...more); };
  });
  await other.goto(pathToFileURL(file('quorivex.html')).href);
  await other.waitForSelector('body[aria-busy="false"]');
  await other.click('#solid summary');
  await other.waitForSelector('#solid-missing:visible');
  assert.match(await other.textContent('#solid-missing'), /WebGL/);
  assert.ok(!await other.isVisible('#solid-parts'));
  await other.close();
});

test(
    'nothing complains, and nothing is asked of a network', () => assert.deepEqual(complaints, []));

test('a report never replaces a file of its run', () => {
  const before = readFileSync(file('obs.mag'));
  const refusal = (output, text) => assert.throws(
      () => run(QVX, 'report', INPUT, '--output', output),
      (error) => error.status === 1 && text.test(error.stderr));
  refusal('obs.mag', /would replace a file that is read/);
  refusal('no/x.html', /no\/x.html/);
  assert.deepEqual(readFileSync(file('obs.mag')), before);
});
