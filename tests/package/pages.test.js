'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { describe, test } = require('node:test');
const { deadLinks } = require('./support/links.js');
const { root } = require('./support/package.js');
const { capture, components } = require('../script/support/declared.js');

const read = (name) => fs.readFileSync(path.join(root, name), 'utf8');
const inFolder = (folder) =>
  fs
    .readdirSync(path.join(root, folder))
    .filter((name) => name.endsWith('.md'))
    .map((name) => `${folder}/${name}`);

const pages = [
  ...['README.md', 'CHANGELOG.md', 'SECURITY.md', 'CONTRIBUTING.md', 'src_native/README.md', 'toolchain/README.md'],
  ...['tests/README.md', 'tests/faults/README.md', 'tests/kit/README.md', 'tests/standins/Windows/README.md'],
  ...['docs', 'docs/api', 'docs/decisions'].flatMap(inFolder),
];

const escaped = (text) => text.replace(/[$(){}.*+?|[\]\\]/g, '\\$&');
// `| ... | \`file\`: name of a test in it |`
const proofs = (text) => [...text.matchAll(/\| `([^`]+)`: (.*) \|$/gm)].map(([, file, name]) => ({ file, name }));

describe('pages', () => {
  for (const page of pages) {
    test(`${page}: every link leads somewhere`, () => {
      assert.deepStrictEqual(deadLinks(path.join(root, page)), []);
    });
  }

  test('there is one per component and module, all with the same headings', () => {
    const names = [...Object.keys(components), 'shutdown', 'pointer', 'updates'].map((name) => `docs/api/${name}.md`);
    assert.deepStrictEqual(inFolder('docs/api').sort(), names.sort());
    const headings = (name) => [...read(name).matchAll(/^## .*$/gm)].map(([line]) => line);
    for (const name of names) assert.deepStrictEqual(headings(name), headings(names[0]), name);
  });

  test('every declared method is on its page', () => {
    for (const [component, methods] of Object.entries({ ...components, shutdown: ['shutdown'] })) {
      const page = read(`docs/api/${component}.md`);
      for (const method of component === 'hardware' ? [...methods, ...capture] : methods) {
        assert.match(page, new RegExp(`^\\| \`${method}\\(`, 'm'), `${method} in ${component}.md`);
      }
    }
  });

  test('the proofs of the fault table are there', () => {
    const page = read('tests/faults/README.md');
    const found = proofs(page);
    assert.strictEqual(found.length, page.match(/^\| (?!Call|---)/gm).length, 'one per row');
    for (const { file, name } of found) {
      const test = new RegExp(`(TEST\\w*\\(\\w+, |(test|describe|ends)\\(\\s*['\`]|Test\\(\\s*')${escaped(name)}`);
      assert.match(read(file), test, `${name} in ${file}`);
    }
  });

  test("README's first script fits on a screen", () => {
    assert.match(read('README.md'), /^```js\n(?:.*\n){8,20}```$/m);
  });

  test('every example is run by a test', () => {
    const tests = fs
      .readdirSync(path.join(root, 'tests/script'), { recursive: true })
      .filter((name) => name.endsWith('.js'));
    const text = tests.map((name) => read(`tests/script/${name}`)).join('\n');
    for (const name of fs.readdirSync(path.join(root, 'examples')).filter((each) => each.endsWith('.js'))) {
      assert.ok(text.includes(name), `${name} is in no test`);
    }
  });
});
