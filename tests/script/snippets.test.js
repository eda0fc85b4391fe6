// Every script on the pages and in the types runs exactly as it is printed, each in its own process.
'use strict';
const { test, describe, before, after } = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { winrt, registry } = require('./support/standins');
const { startPiece } = require('./support/examples');

const root = path.join(__dirname, '..', '..');
const read = (name) => fs.readFileSync(path.join(root, name), 'utf8').replaceAll('\r\n', '\n');
const pages = ['README.md', ...fs.readdirSync(path.join(root, 'docs/api')).map((name) => `docs/api/${name}`)];
const types = ['index.d.ts', 'pointer.d.ts', 'updates.d.ts'];

const onPage = (text) => [...text.matchAll(/^```js\n(.*?)^```$/gms)].map(([, script]) => script);
const inTypes = (text) =>
  [...text.matchAll(/@example\n(.*?)\*\//gs)].map(([, lines]) => lines.replace(/^ *\* ?/gm, ''));
const snippets = [
  ...pages.flatMap((name) => onPage(read(name)).map((text) => ({ name, text }))),
  ...types.flatMap((name) => inTypes(read(name)).map((text) => ({ name, text }))),
];

// What surrounds a script: the system's services are stand-ins. A script that captures would run until somebody presses
// a button, so it is ended when the loop has turned a few times while it captures.
const standins = JSON.stringify(path.join(__dirname, 'support', 'standins.js'));
const surroundings = `
  const { winrt, eventlog } = require(${standins});
  winrt.configure({ deployment: winrt.outcomes.errorText('0x80073CF3: in use') });
  eventlog.configure({ records: ['<Event/>'] });`;
const ending = `
  ;{
    let turns = 0;
    const next = () => (++turns < 20 ? setImmediate(next) : process.exit());
    next();
  }`;

describe('a script', () => {
  before(() => {
    winrt.install();
    registry.setUpdateRevision(4291);
  });
  after(() => {
    winrt.uninstall();
    registry.removeUpdateRevision();
  });

  test('stands on every page and beside most functions', () => {
    for (const name of [...pages, ...types])
      assert.ok(
        snippets.some((each) => each.name === name),
        name,
      );
    assert.ok(snippets.length >= 18, `${snippets.length}`);
  });

  for (const { name, text } of snippets) {
    const title = text.split('\n').find((line) => line.trim() && !line.includes('require(')) ?? text;
    test(`${name}: ${title.trim()}`, async () => {
      const captures = /start(Capturing)?\(\)/.test(text);
      const { status, stderr } = await startPiece(text + (captures ? ending : ''), { before: surroundings }).ended;
      assert.strictEqual(status, 0, stderr);
    });
  }
});
