// SPDX-License-Identifier: GPL-3.0-or-later
// The page of models in a real browser: every cell of a model file has a value of its own.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import path from 'node:path';
import {after, before, test} from 'node:test';
import {pathToFileURL} from 'node:url';

import {centres, valueAt, writeMesh} from './uneven_mesh.mjs';

const {QVX, BROWSER, DRIVER} = process.env;
const {chromium} = await import(pathToFileURL(DRIVER));

const folder = mkdtempSync(path.join(tmpdir(), 'quorivex_models_'));
const file = (name) => path.join(folder, name);
const NAME = `<i>&"own.sus`;
const own = (cell) => (cell === 160 ? -100 : (1000 + cell) * 1.0007e-5);
const complaints = [];
let browser;
let page;

before(async () => {
  writeMesh(file);
  writeFileSync(file(NAME), Array.from({length: 210}, (_, cell) => own(cell)).join('\n'));
  const options = [
    'model --mesh mesh.txt --topography terrain.txt --upper up.sus --weights w.txt --page p.html',
    '--set', 'box depth=20: upper=0.25', '--set', 'box easting=1100:1210 smoothness_easting=3',
    '--show', NAME
  ].flatMap((text, i) => (i === 0 ? text.split(' ') : [text]));
  execFileSync(QVX, options, {cwd: folder, stdio: 'pipe'});
  browser = await chromium.launch({executablePath: BROWSER, args: ['--no-sandbox']});
  page = await browser.newPage({viewport: {width: 1400, height: 1000}});
  page.on('console', (message) => complaints.push(message.text()));
  page.on('pageerror', (error) => complaints.push(error.message));
  await page.goto(pathToFileURL(file('p.html')).href);
  await page.waitForSelector('body[aria-busy="false"]');
});

after(async () => {
  await browser?.close();
  rmSync(folder, {recursive: true});
});

async function choose(label) {
  await page.selectOption('#shown', {label});
  await page.waitForSelector('body[aria-busy="false"]');
}

async function slide(name, position) {
  await page.locator(`#slide-${name}`).fill(String(position));
  await page.evaluate(() => new Promise((done) => window.requestAnimationFrame(() => done(null))));
}

const cellsOf = (id) => page.evaluate((name) => {
  const {z, zmin, zmax, colorbar} = document.getElementById(name).data[0];
  return {z, zmin, zmax, title: colorbar.title.text};
}, id);

async function expectSections(values) {
  const sections = [
    ['plan', 'easting', 'northing', 'elevation'], ['west-east', 'easting', 'elevation', 'northing'],
    ['south-north', 'northing', 'elevation', 'easting']
  ];
  const upward = (name) => (name === 'elevation' ? centres(name).reverse() : centres(name));
  for (const [id, across, up, fixed] of sections) {
    for (const [i, at] of upward(fixed).entries()) {
      await slide(fixed, i + 1);
      const {z} = await cellsOf(id);
      const expected = upward(up).map((y) => upward(across).map((x) => {
        const value = valueAt(values, {[across]: x, [up]: y, [fixed]: at});
        return value === -100 ? null : Number(value.toPrecision(6));
      }));
      assert.deepEqual(z, expected, `${id} at ${at}`);
    }
  }
}

test('every section of a file and of a quantity has the values of its cells', async () => {
  const upper = readFileSync(file('up.sus'), 'utf8').trim().split('\n').map(Number);
  assert.deepEqual(
      await page.locator('#shown option').allTextContents(),
      ['upper (up.sus)', 'smoothness_easting (w.txt)', NAME]);
  await expectSections(upper);
  await choose(NAME);
  // Air by the terrain, whatever the file has there, and one ground cell without a value.
  await expectSections(upper.map((value, cell) => (value === -100 ? -100 : own(cell))));
});

test('each model has its range, its unit and its colours; the place stays', async () => {
  for (const [name, position] of [['easting', 5], ['northing', 4], ['elevation', 1]])
    await slide(name, position);
  const meets = () => page.textContent('#at-crosshair');
  assert.match(await meets(), /^no value .* column 5, row 4, layer 7 \(cell 161\)$/);
  assert.equal(await page.isVisible('#gaps'), true);
  await choose('smoothness_easting (w.txt)');
  assert.equal(await page.isVisible('#gaps'), false);
  const weights = await cellsOf('plan');
  assert.deepEqual([weights.zmin, weights.zmax, weights.title], [1, 3, '']);
  await page.selectOption('#palette', 'magma');
  await choose('upper (up.sus)');
  const {zmin, zmax, title} = await cellsOf('plan');
  assert.deepEqual([zmin, zmax, title], [0.25, 1, 'SI']);
  assert.match(await meets(), /^0\.25 SI .* column 5, row 4, layer 7 /);
  assert.equal(await page.inputValue('#palette'), 'viridis');
  await choose('smoothness_easting (w.txt)');
  assert.equal(await page.inputValue('#palette'), 'magma');
  assert.match(await page.textContent('#values tr.shown'), /^smoothness_easting \(w\.txt\)/);
  assert.equal(await page.locator('.of-stations:visible').count(), 0);
  assert.deepEqual(complaints, []);
});
