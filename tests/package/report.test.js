'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { root } = require('./support/package.js');
const { run } = require('./support/run.js');

// What ctest and the programs of a lane have left, made by hand; toolchain/report.py adds it up.
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));
after(() => fs.rmSync(folder, { recursive: true, force: true }));

const LABELS = { 'script-a': 'windows-node-22', 'engine-a': 'linux-engine', 'package-a': 'package', 'unit-a': 'unit' };

// programs: the name, how it ended, and the file of its own cases, if it has left one.
function totals(programs, system = 'linux') {
  const build = fs.mkdtempSync(path.join(folder, `${system}-`));
  fs.mkdirSync(path.join(build, 'results'));
  const tests = programs.map(
    ([name]) => `add_test(${name} true)\nset_tests_properties(${name} PROPERTIES LABELS ${LABELS[name]})`,
  );
  fs.writeFileSync(path.join(build, 'CTestTestfile.cmake'), tests.join('\n'));
  const entries = programs.map(([name, status]) => `<testcase name="${name}" status="${status}"/>`);
  fs.writeFileSync(path.join(build, 'ctest.xml'), `<testsuite>${entries.join('')}</testsuite>`);
  for (const [name, , cases] of programs.filter((each) => each.length > 2))
    fs.writeFileSync(path.join(build, 'results', `${name}.xml`), cases);
  const done = run('python3', [path.join(root, 'toolchain/report.py'), build, path.join(build, 'totals')]);
  assert.strictEqual(done.status, 0, done.err);
  return fs.readFileSync(path.join(build, 'totals'), 'utf8').trim().split('\n');
}

const suite = (...cases) => `<testsuites><testsuite>${cases.join('')}</testsuite></testsuites>`;
const PASSED = '<testcase name="p"/>';
const FAILED = '<testcase name="f"><failure/></testcase>';
const SKIPPED = '<testcase name="s"><skipped/></testcase>';

test('cases count, not programs, by what ran them', () => {
  assert.deepStrictEqual(
    totals([
      ['script-a', 'run', suite(PASSED, PASSED, SKIPPED)],
      ['engine-a', 'run', suite(PASSED)],
      [
        'package-a',
        'run',
        suite(PASSED, '<testcase name="d" status="disabled"/>', '<testcase name="n" status="notrun"/>'),
      ],
      ['unit-a', 'run'],
    ]),
    [
      '2 0 1 Windows Node.js 22',
      "1 0 0 Linux engine with the product's flags",
      '1 0 2 checks of the package',
      '1 0 0 Linux programs',
    ],
  );
  assert.deepStrictEqual(totals([['unit-a', 'run']], 'windows'), ['1 0 0 Windows programs']);
});

test('failures and errors are failures', () => {
  assert.deepStrictEqual(
    totals([['unit-a', 'fail', suite(PASSED, FAILED, '<testcase name="e"><error/></testcase>')]]),
    ['1 2 0 Linux programs'],
  );
});

for (const [name, ...program] of [
  ['crashes after its last case', 'fail', suite(PASSED, PASSED)],
  ['leaves half a file', 'fail', '<testsuites><testsuite><testcase'],
  ['leaves no file', 'fail'],
  ['has not run', 'notrun'],
]) {
  test(`a program that ${name} is a failure`, () => {
    const [line, ...more] = totals([['unit-a', ...program]]);
    assert.deepStrictEqual(more, []);
    assert.match(line, name.startsWith('crashes') ? /^2 1 0 / : /^0 1 0 /);
  });
}

test('one that is switched off is left out, and not silently', () => {
  assert.deepStrictEqual(totals([['unit-a', 'disabled']]), ['0 0 1 Linux programs']);
});
