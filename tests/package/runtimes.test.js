'use strict';

const assert = require('node:assert');
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const { test } = require('node:test');
const { root } = require('./support/package.js');

const read = (name) => fs.readFileSync(path.join(root, name), 'utf8');
const table = (name) => read(name).match(/^\| What ran \|.*\n(?:\|.*\n)+/m)[0];
const cells = (line) =>
  line
    .split('|')
    .slice(1, -1)
    .map((cell) => cell.trim());

const [head, , ...rows] = table('docs/decisions/flavours.md').trim().split('\n').map(cells);
const rowOf = (lane) => rows.find(([, lanes]) => lanes.includes(`\`${lane}\``));

// What ctest would run of the lane: [{ stem, runtime, whole }].
function scriptTests() {
  const listing = execFileSync('ctest', ['--test-dir', process.env.ZEB_BUILD, '-L', '^script$', '--show-only=json-v1']);
  return JSON.parse(listing).tests.map(({ name, properties }) => {
    const labels = properties.find((each) => each.name === 'LABELS').value;
    const runtime = labels.map((label) => /^windows-node-(\d+)$/.exec(label)?.[1]).find(Boolean);
    return { stem: name.replace(/^script\d*-/, ''), runtime, whole: labels.includes('whole') };
  });
}

test('the table of what ran where says what the lane "script" does', () => {
  const tests = scriptTests();
  const all = new Set(tests.map(({ stem }) => stem));
  assert.ok(all.size > 20, `${all.size} script tests`);
  for (const release of ['22', '24', '26']) {
    const here = tests.filter(({ runtime }) => runtime === release);
    assert.deepStrictEqual(new Set(here.map(({ stem }) => stem)), all, `can all be run in Node.js ${release}`);
    const count = here.filter(({ whole }) => whole).length;
    const expected = count === all.size ? 'every script test' : 'not run whole; on request, by `--runtime`';
    assert.ok(count === all.size || count === 0);
    assert.strictEqual(rowOf('script')[head.indexOf(`Node.js ${release}`)], expected, `Node.js ${release}`);
  }
});

test('every lane of the table is there, and every runtime of the package is a column', () => {
  const lanes = execFileSync(path.join(root, 'zeb'), { encoding: 'utf8' })
    .match(/lanes: (.*)/)[1]
    .split(' ');
  for (const [what, named] of rows) {
    for (const [, lane] of named.matchAll(/`(\w+)`/g)) assert.ok(lanes.includes(lane), `${what}: ${lane}`);
  }
  const runtimes = [...read('lib/native.js').matchAll(/runtime: '([^']+)'/g)].map(([, name]) => name);
  const columns = head.slice(2).map((name) => name.replace('desktop 123', 'desktop runtimes with module version 123'));
  assert.deepStrictEqual(columns, runtimes);
});

test('README has the same table', () => {
  assert.strictEqual(table('README.md'), table('docs/decisions/flavours.md'));
});
